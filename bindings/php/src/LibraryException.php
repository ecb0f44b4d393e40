<?php

declare(strict_types=1);

namespace Zelvan;

/** libzelvanclient could not be found or loaded (see Library::candidates()). */
final class LibraryException extends \RuntimeException
{
}
