<?php

declare(strict_types=1);

namespace Zelvan;

/**
 * Carries the library's events to one PHP callable; internal to
 * Transaction. An exception may not cross an FFI callback (PHP ends the
 * process): whatever the callable throws is caught and kept in $error, and
 * the callable gets no more events until the next execute() (begin()).
 * The library's callback holds this object, never the Transaction, so that
 * a Transaction is still released as soon as it is dropped.
 *
 * @internal
 */
final class EventHook
{
    public ?\Throwable $error = null;

    public function __construct(private readonly \Closure $handler)
    {
    }

    public function begin(): void
    {
        $this->error = null;
    }

    public function deliver(\FFI\CData $event, mixed $user): void
    {
        if ($this->error !== null) {
            return;
        }
        try {
            $copied = Event::read($event);
            if ($copied !== null) {
                ($this->handler)($copied);
            }
        } catch (\Throwable $thrown) {
            $this->error = $thrown;
        }
    }
}
