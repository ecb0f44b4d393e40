<?php

declare(strict_types=1);

namespace Zelvan;

/**
 * A transaction that got no decision from the gateway: a failure of the
 * library (no server, bad certificate, no reply, ...) or an error reply of
 * the gateway. The message is ERROR, with ERROR_DETAIL in brackets;
 * outcome holds every field for logging, and for a status enquiry when
 * $outcome->outcomeUnknown() says the payment may have gone through.
 */
final class TransactionException extends \RuntimeException
{
    public function __construct(public readonly Result $outcome)
    {
        $message = $outcome->error() ?? 'transaction failed without an ERROR text';
        if ($outcome->errorDetail() !== null) {
            $message .= ' (' . $outcome->errorDetail() . ')';
        }
        parent::__construct($message);
    }
}
