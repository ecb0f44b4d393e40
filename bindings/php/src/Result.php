<?php

declare(strict_types=1);

namespace Zelvan;

/**
 * The bundle after a transaction: the gateway's reply and the fields sent,
 * card data already masked, the local "_" fields (certificate path and
 * password, CA file) left out.
 *
 * completed is what the library's execute() returned: the last exchange
 * ran to its end. The string form names the decision, codes and reference
 * only, so that logging a Result never writes card data.
 */
final class Result implements \Stringable
{
    /** @param array<string, string> $fields */
    public function __construct(public readonly bool $completed, public readonly array $fields)
    {
    }

    /** The gateway approved the payment: RESULT "0" and no ERROR. */
    public function approved(): bool
    {
        return $this->completed && $this->error() === null && $this->result() === '0';
    }

    /** The gateway decided and did not approve (RESULT "1", a declined card). */
    public function declined(): bool
    {
        return $this->completed && $this->error() === null && $this->result() === '1';
    }

    /**
     * The gateway opened a reference but no final RESULT came back: the
     * payment may have gone through. Never repeat it; ask for its status
     * later with txnReference().
     */
    public function outcomeUnknown(): bool
    {
        $result = $this->result();
        return $this->txnReference() !== null && ($result === null || $result === '-1');
    }

    public function field(string $name): ?string
    {
        return $this->fields[$name] ?? null;
    }

    public function result(): ?string
    {
        return $this->field('RESULT');
    }

    public function error(): ?string
    {
        return $this->field('ERROR');
    }

    public function errorDetail(): ?string
    {
        return $this->field('ERROR_DETAIL');
    }

    public function txnReference(): ?string
    {
        return $this->field('TXNREFERENCE');
    }

    public function authCode(): ?string
    {
        return $this->field('AUTHCODE');
    }

    public function responseCode(): ?string
    {
        return $this->field('RESPONSECODE');
    }

    public function responseText(): ?string
    {
        return $this->field('RESPONSETEXT');
    }

    public function __toString(): string
    {
        $decision = match (true) {
            $this->approved() => 'approved',
            $this->declined() => 'declined',
            $this->outcomeUnknown() => 'outcome unknown',
            default => 'failed',
        };
        $parts = [$decision];
        foreach (['RESULT', 'RESPONSECODE', 'RESPONSETEXT', 'ERROR', 'TXNREFERENCE'] as $name) {
            if (isset($this->fields[$name])) {
                $parts[] = "$name=" . $this->fields[$name];
            }
        }
        return 'Zelvan\Result(' . implode(' ', $parts) . ')';
    }
}
