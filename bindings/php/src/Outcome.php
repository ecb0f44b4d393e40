<?php

declare(strict_types=1);

namespace Zelvan;

/**
 * What became of a payment, as the library decides it
 * (zelvanclient_outcome); the values are the C API's ZELVAN_OUTCOME_*.
 */
enum Outcome: int
{
    /** The gateway's final decision is an approval. */
    case Approved = 1;
    /** The gateway's final decision is not an approval; nothing was charged. */
    case Declined = 2;
    /** The gateway never opened the transaction; nothing was charged, and it is safe to run it again. */
    case NoDecision = 3;
    /** The gateway opened the transaction (TXNREFERENCE) and no final decision followed: never run it again. */
    case Unknown = 4;

    /** The outcome's name as zelvan-txn --json gives it: "approved", "declined", "no_decision", "unknown". */
    public function text(): string
    {
        return match ($this) {
            self::Approved => 'approved',
            self::Declined => 'declined',
            self::NoDecision => 'no_decision',
            self::Unknown => 'unknown',
        };
    }

    /**
     * The library's value. Any other value (none cannot follow execute())
     * is read as Unknown, the reading that never leads to charging twice.
     */
    public static function of(int $value): self
    {
        return self::tryFrom($value) ?? self::Unknown;
    }
}
