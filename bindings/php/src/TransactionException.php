<?php

declare(strict_types=1);

namespace Zelvan;

/**
 * A transaction without a decision of the gateway. Thrown as itself for
 * Outcome::NoDecision (the gateway never opened it: nothing was charged,
 * and it may be run again) and as OutcomeUnknownException for
 * Outcome::Unknown. The message is ERROR, with ERROR_DETAIL in brackets
 * (and the reference when the outcome is unknown); outcome holds every
 * field, card data masked, and its outcome.
 */
class TransactionException extends \RuntimeException
{
    public function __construct(public readonly Result $outcome)
    {
        $message = $outcome->error() ?? 'transaction failed without an ERROR text';
        if ($outcome->errorDetail() !== null) {
            $message .= ' (' . $outcome->errorDetail() . ')';
        }
        if ($outcome->outcomeUnknown()) {
            $message .= '; outcome unknown: ask for the status of TXNREFERENCE ' . $outcome->txnReference();
        }
        parent::__construct($message);
    }

    /** TXNREFERENCE, the reference to ask the gateway about, or null. */
    public function txnReference(): ?string
    {
        return $this->outcome->txnReference();
    }
}
