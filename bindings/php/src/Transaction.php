<?php

declare(strict_types=1);

namespace Zelvan;

/**
 * One transaction handle of libzelvanclient and its bundle of text fields.
 *
 *     $t = new Zelvan\Transaction();
 *     $t->setServers(['gw1.example.com', 'gw2.example.com']);
 *     $t->setPort(8443);
 *     $t->setClientId('10000001');
 *     $t->setCertificate('/etc/pay/client.p12', 'secret');
 *     $t->set('TRANSACTIONTYPE', 'PURCHASE');
 *     $t->set('CARDDATA', '4111111111111111');
 *     $t->set('AMOUNT', '12.50');
 *     $result = $t->execute();    // Outcome::Approved or Declined; throws without a decision
 *     $t->close();
 *
 * Text that the gateway message cannot carry is refused with
 * \InvalidArgumentException before it reaches the library: CR, LF or NUL
 * anywhere, an empty name, and "=" in a name or in the value of a field
 * that is sent (local "_" fields never travel and may hold "="). The
 * message names the field, never the value. The handle and every field,
 * card data and certificate password included, are released by close()
 * or when the object is destroyed.
 */
final class Transaction
{
    private \FFI $ffi;
    private ?\FFI\CData $handle;
    /** The event hook, or null, kept for as long as the library may call it. */
    private ?EventHook $eventHook = null;

    public function __construct()
    {
        $this->ffi = Library::ffi();
        $this->handle = $this->ffi->newBundle();
        if ($this->handle === null || \FFI::isNull($this->handle)) {
            throw new \RuntimeException('newBundle() returned no handle');
        }
    }

    public function __destruct()
    {
        $this->close();
    }

    /** Stores field $name, replacing an earlier value. */
    public function set(string $name, #[\SensitiveParameter] string|int $value): void
    {
        $value = (string) $value;
        self::check($name, $value);
        $this->ffi->put($this->live(), $name, $value);
    }

    /** The field's text, or null when the bundle has no such field (or it is empty). */
    public function get(string $name): ?string
    {
        self::checkName($name);
        if (strtoupper($name) === 'THEWORKS') {
            throw new \InvalidArgumentException('use fields() for the whole bundle, not get("THEWORKS")');
        }
        // The text belongs to the bundle: copy it, never free it.
        $text = $this->ffi->get($this->live(), $name);
        return $text === null || \FFI::isNull($text) ? null : \FFI::string($text);
    }

    /**
     * Every field of the bundle. The local "_" fields are left out unless
     * $includeLocal is true.
     *
     * @return array<string, string>
     */
    public function fields(bool $includeLocal = false): array
    {
        $text = $this->ffi->get($this->live(), 'THEWORKS');
        if ($text === null || \FFI::isNull($text)) {
            return [];
        }
        try {
            $lines = \FFI::string($text);
        } finally {
            // The library allocates this text with malloc() for the caller.
            $this->ffi->free($text);
        }
        $fields = [];
        foreach (explode("\r\n", $lines) as $line) {
            $parts = explode('=', $line, 2);
            if (count($parts) === 2 && ($includeLocal || !str_starts_with($parts[0], '_'))) {
                $fields[$parts[0]] = $parts[1];
            }
        }
        return $fields;
    }

    /**
     * The gateway servers to try in order: a list, or one text separated
     * by commas, semicolons or blanks.
     *
     * @param string|list<string> $servers
     */
    public function setServers(string|array $servers): void
    {
        $list = is_array($servers) ? implode(',', $servers) : $servers;
        self::check('SERVER0', $list);
        $this->ffi->setServers($this->live(), $list);
    }

    /** The gateway's port, the same for every server. */
    public function setPort(string|int $port): void
    {
        $port = (string) $port;
        self::check('SERVERPORT', $port);
        $this->ffi->setPort($this->live(), $port);
    }

    /** The merchant's client identifier (CLIENTID). */
    public function setClientId(string $clientId): void
    {
        self::check('CLIENTID', $clientId);
        $this->ffi->put_ClientID($this->live(), $clientId);
    }

    /** The client certificate file (PKCS#12 or PEM) and, if given, its password. */
    public function setCertificate(string $path, #[\SensitiveParameter] ?string $password = null): void
    {
        self::check('_CERTIFICATEPATH', $path);
        $this->ffi->put_CertificatePath($this->live(), $path);
        if ($password !== null) {
            $this->setCertificatePassword($password);
        }
    }

    /** The client certificate's password; it is neither sent nor logged. */
    public function setCertificatePassword(#[\SensitiveParameter] string $password): void
    {
        self::check('_CERTIFICATEPASSWORD', $password);
        $this->ffi->put_CertificatePassword($this->live(), $password);
    }

    /**
     * The CA file that the gateway's certificate is verified against;
     * without one the gateway's certificate is not verified.
     */
    public function setCaFile(string $path): void
    {
        $this->set('_CAFILE', $path);
    }

    /** Switches the debug log on, to a file path or "stdout"; null switches it off. */
    public function setDebugLog(?string $destination): void
    {
        if ($destination === null) {
            $this->set('DEBUG', 'OFF');
            return;
        }
        // DEBUG must be on before LOGFILE is given, or no file is opened.
        $this->set('DEBUG', 'ON');
        $this->set('LOGFILE', $destination);
    }

    /**
     * Calls $handler(Event) for each event of every later execute(); null
     * stops the events. The handler must be quick (its time counts against
     * the transaction) and must not use this Transaction. What it throws
     * never reaches the library (an exception may not cross an FFI
     * callback) nor changes the payment: it stops the events for the rest
     * of that execute(), which returns or throws as it would have, with the
     * throwable as Result::$handlerError.
     */
    public function setEventHandler(?callable $handler): void
    {
        $handle = $this->live();
        $this->eventHook = $handler === null ? null : new EventHook(\Closure::fromCallable($handler));
        $this->ffi->zelvanclient_set_event_handler($handle, $this->eventHook === null ? null : $this->eventHook->deliver(...), null);
    }

    /**
     * Runs the transaction and returns its Result when the gateway decided:
     * outcome is Outcome::Approved or Outcome::Declined. Throws
     * TransactionException for Outcome::NoDecision (safe to run again) and
     * OutcomeUnknownException for Outcome::Unknown (never run it again; ask
     * for the status of its txnReference()). Blocks until the gateway
     * answers or the time-outs pass (5 seconds per unreachable server,
     * about 30 per awaited reply, and the status checks).
     */
    public function execute(): Result
    {
        $handle = $this->live();
        $this->eventHook?->begin();
        $completed = $this->ffi->execute($handle) !== 0;
        $result = new Result($completed, $this->fields(), Outcome::of($this->ffi->zelvanclient_outcome($handle)),
            $this->eventHook?->error);
        return match ($result->outcome) {
            Outcome::Unknown => throw new OutcomeUnknownException($result),
            Outcome::NoDecision => throw new TransactionException($result),
            default => $result,
        };
    }

    /** Empties the bundle for the next transaction, settings included; the debug log stays. */
    public function flush(): void
    {
        $this->ffi->flushBundle($this->live());
    }

    /** Destroys the handle and its fields. Later calls of close() do nothing. */
    public function close(): void
    {
        if ($this->handle !== null) {
            $handle = $this->handle;
            $this->handle = null;
            $this->ffi->cleanup($handle);
            $this->eventHook = null;
        }
    }

    private function live(): \FFI\CData
    {
        return $this->handle ?? throw new \LogicException('the transaction is closed');
    }

    /**
     * Refuses text that would corrupt or lose a field. Fields travel as
     * "NAME=value" lines without escaping: a CR or LF would start a field
     * of its own, a second "=" makes the gateway drop the line, and a NUL
     * would cut the text short without a word.
     */
    private static function check(string $name, #[\SensitiveParameter] string $value): void
    {
        self::checkName($name);
        $forbidden = str_starts_with($name, '_') ? "\r\n\0" : "\r\n\0=";
        if (strpbrk($value, $forbidden) !== false) {
            throw new \InvalidArgumentException("the value of field $name holds a character the gateway message cannot carry");
        }
    }

    private static function checkName(string $name): void
    {
        if ($name === '') {
            throw new \InvalidArgumentException('a field name may not be empty');
        }
        if (strpbrk($name, "\r\n\0=") !== false) {
            throw new \InvalidArgumentException('a field name holds a character the gateway message cannot carry: '
                . addcslashes($name, "\r\n\0"));
        }
    }
}
