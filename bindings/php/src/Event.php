<?php

declare(strict_types=1);

namespace Zelvan;

/**
 * One event of an execute(), copied out of the library's structure during
 * the call. Texts an event does not carry are null, numbers 0; outcome is
 * set for EventType::Outcome only. Events never carry card data, passwords
 * or field values.
 */
final class Event
{
    /**
     * Where each field of struct zelvan_event ends, on x86-64: a field is
     * read only when the library filled it (the structure's size field
     * says how much), since an older library's structure is shorter.
     */
    private const END = [
        'type' => 8, 'elapsed_ms' => 16, 'server' => 24, 'address' => 32, 'port' => 36, 'resumed' => 40,
        'tls_version' => 48, 'cipher' => 56, 'status_check' => 60, 'outcome' => 64,
    ];

    private function __construct(
        public readonly EventType $type,
        public readonly int $elapsedMs,
        public readonly ?string $server,
        public readonly ?string $address,
        public readonly int $port,
        public readonly bool $resumed,
        public readonly ?string $tlsVersion,
        public readonly ?string $cipher,
        public readonly int $statusCheck,
        public readonly ?Outcome $outcome,
    ) {
    }

    /** The event behind $event (a zelvan_event pointer), or null for a type this binding does not know. */
    public static function read(\FFI\CData $event): ?self
    {
        $size = $event->size;
        $number = static fn (string $field): int => $size >= self::END[$field] ? $event->$field : 0;
        // FFI hands a "const char *" field over as a PHP string already, or
        // null for NULL.
        $text = static function (string $field) use ($event, $size): ?string {
            $value = $size >= self::END[$field] ? $event->$field : null;
            if ($value instanceof \FFI\CData) {
                return \FFI::isNull($value) ? null : \FFI::string($value);
            }
            return $value;
        };
        $type = EventType::tryFrom($number('type'));
        if ($type === null) {
            return null;
        }
        return new self($type, $number('elapsed_ms'), $text('server'), $text('address'), $number('port'),
            $number('resumed') !== 0, $text('tls_version'), $text('cipher'), $number('status_check'),
            $type === EventType::Outcome ? Outcome::of($number('outcome')) : null);
    }
}
