<?php

declare(strict_types=1);

namespace Zelvan;

/**
 * The bundle after a transaction and its outcome: the gateway's reply and
 * the fields sent, card data masked, the local "_" fields (certificate
 * path and password, CA file) left out.
 *
 * outcome is the library's Outcome. completed is what the library's
 * execute() returned: the last exchange ran to its end (it says nothing
 * about the payment). handlerError is what the event handler threw during
 * this execute(), or null. The string form names the outcome, codes and
 * reference only, so that logging a Result never writes card data.
 */
final class Result implements \Stringable
{
    /** @var array<string, string> */
    public readonly array $fields;

    /** @param array<string, string> $fields */
    public function __construct(
        public readonly bool $completed,
        array $fields,
        public readonly Outcome $outcome,
        public readonly ?\Throwable $handlerError = null,
    ) {
        $this->fields = self::hideCardData($fields);
    }

    /**
     * The card number masked and CVC2 and the expiry date as asterisks.
     * The library does so itself after every exchange, but a transaction
     * refused before it connects leaves them as they were put.
     *
     * @param array<string, string> $fields
     * @return array<string, string>
     */
    private static function hideCardData(array $fields): array
    {
        foreach ($fields as $name => $value) {
            $upper = strtoupper((string) $name);
            if ($upper === 'CARDDATA') {
                $fields[$name] = self::maskCardNumber($value);
            } elseif ($upper === 'CVC2' || $upper === 'CARDEXPIRYDATE') {
                $fields[$name] = str_repeat('*', strlen($value));
            }
        }
        return $fields;
    }

    /** As the library masks: 13 to 20 characters without an "X" keep their first six and last four. */
    private static function maskCardNumber(string $number): string
    {
        $length = strlen($number);
        if ($length < 13 || $length > 20 || str_contains($number, 'X')) {
            return $number;
        }
        return substr($number, 0, 6) . str_repeat('X', $length - 10) . substr($number, -4);
    }

    public function approved(): bool
    {
        return $this->outcome === Outcome::Approved;
    }

    public function declined(): bool
    {
        return $this->outcome === Outcome::Declined;
    }

    /** The payment may have gone through: never repeat it; ask for its status with txnReference(). */
    public function outcomeUnknown(): bool
    {
        return $this->outcome === Outcome::Unknown;
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
        $parts = [$this->outcome->text()];
        foreach (['RESULT', 'RESPONSECODE', 'RESPONSETEXT', 'ERROR', 'TXNREFERENCE'] as $name) {
            if (isset($this->fields[$name])) {
                $parts[] = "$name=" . $this->fields[$name];
            }
        }
        return 'Zelvan\Result(' . implode(' ', $parts) . ')';
    }
}
