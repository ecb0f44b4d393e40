<?php

declare(strict_types=1);

namespace Zelvan;

/**
 * The gateway opened the transaction and no final decision followed: the
 * payment may have gone through. Never run it again; ask for the status of
 * txnReference() later.
 */
final class OutcomeUnknownException extends TransactionException
{
}
