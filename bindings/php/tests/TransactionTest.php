<?php

// The PHP binding driving real transactions against the gateway simulator.
// Environment: ZELVAN_LIBRARY (the library under test), ZV_SIM_PORT,
// ZV_CERT_DIR and ZV_CERT_PASSWORD, and the simulators' counter files
// ZV_SIM_STATS and ZV_LOST_SIM_STATS (see tests/support/with_gateway_sim.py).

declare(strict_types=1);

require __DIR__ . '/../autoload.php';

use Zelvan\Event;
use Zelvan\EventType;
use Zelvan\Outcome;
use Zelvan\OutcomeUnknownException;
use Zelvan\Transaction;
use Zelvan\TransactionException;

const CARD = '4111111111111111';

function check(bool $condition, string $what): void
{
    if (!$condition) {
        throw new RuntimeException("failed: $what");
    }
}

/** Runs $call, which must throw a $class; returns what it threw. */
function thrown(string $class, callable $call): Throwable
{
    try {
        $call();
    } catch (Throwable $e) {
        check($e instanceof $class, get_class($e) . " thrown instead of $class");
        return $e;
    }
    throw new RuntimeException("failed: no $class thrown");
}

function purchase(string $card = CARD, ?string $password = null, string $port = 'ZV_SIM_PORT'): Transaction
{
    $t = new Transaction();
    $t->setServers('127.0.0.1');
    $t->setPort(getenv($port));
    $t->setClientId('10000001');
    $t->setCertificate(getenv('ZV_CERT_DIR') . '/client.p12', $password ?? getenv('ZV_CERT_PASSWORD'));
    $t->setCaFile(getenv('ZV_CERT_DIR') . '/ca.pem');
    $t->set('TRANSACTIONTYPE', 'PURCHASE');
    $t->set('CARDDATA', $card);
    $t->set('CARDEXPIRYDATE', '1230');
    $t->set('CVC2', '123');
    $t->set('AMOUNT', '12.50');
    return $t;
}

// Outcomes, fields and refusals are checked through this binding by the
// transaction cases (tests/data); this test checks the binding's own types
// and that none of its texts shows a value it refused or the card data.
function testResultAndExceptionTypes(): void
{
    $t = purchase();
    $result = $t->execute();
    check($result->approved() && !$result->declined() && !$result->outcomeUnknown(), 'approved');
    check([$result->result(), $result->responseCode(), $result->responseText()] === ['0', '00', 'APPROVED'], 'codes');
    check(str_starts_with($result->authCode(), 'A') && str_starts_with($result->txnReference(), 'ZS'), 'auth code and reference');
    check(preg_grep('/^_/', array_keys($result->fields)) === [], 'no local field in the result');
    check(str_contains((string) $result, 'approved') && !str_contains((string) $result, '411111'), 'string form');
    $t->close();
    $t->close();
    thrown(LogicException::class, fn () => $t->get('RESULT'));
    $e = thrown(OutcomeUnknownException::class, fn () => purchase(CARD, null, 'ZV_LOST_SIM_PORT')->execute());
    check(str_starts_with($e->txnReference() ?? '', 'ZS') && str_contains($e->getMessage(), $e->txnReference()), 'reference in the message');

    $secrets = [CARD, '1230', '123', 'not-the-password', 'secret'];
    $shows = fn (string $text) => array_filter($secrets, fn ($secret) => str_contains($text, $secret));
    $e = thrown(InvalidArgumentException::class, fn () => purchase()->set('ORDERREF', 'secret=b'));
    check($shows((string) $e) === [], 'no value in the refusal');
    $e = thrown(TransactionException::class, fn () => purchase(CARD, 'not-the-password')->execute());
    check($shows((string) $e . $e->outcome . print_r($e->outcome->fields, true)) === [], 'no card data shown');
    check(str_starts_with($e->getMessage(), 'UNABLE TO INITIALISE SSL.'), 'failure message');
}

/** @return array<string, int> a simulator's counters, from the file that $variable names */
function simStats(string $variable): array
{
    $stats = [];
    foreach (file(getenv($variable), FILE_IGNORE_NEW_LINES) as $line) {
        [$name, $value] = explode('=', $line, 2) + [1 => null];
        if ($value !== null) {
            $stats[$name] = (int) $value;
        }
    }
    return $stats;
}

/** @return array{list<Event>, Zelvan\Result} $t's events and Result, with a handler that keeps them */
function collect(Transaction $t): array
{
    $events = [];
    $t->setEventHandler(function (Event $event) use (&$events): void {
        $events[] = $event;
    });
    try {
        $result = $t->execute();
    } catch (TransactionException $failure) {
        $result = $failure->outcome;
    }
    check($events !== [], 'events reported');
    return [$events, $result];
}

/** @param list<Event> $events */
function countOf(array $events, callable $keep): int
{
    return count(array_filter($events, $keep));
}

function testEventsMatchWhatTheSimulatorCounted(): void
{
    $before = simStats('ZV_SIM_STATS');
    $all = [];
    for ($i = 0; $i < 3; $i++) {
        [$events, $result] = collect(purchase());
        check($result->approved() && $result->handlerError === null, 'approved without a handler error');
        $first = $events[0];
        $last = end($events);
        check([$first->type, $first->address, $first->port] === [EventType::ServerTried, '127.0.0.1', (int) getenv('ZV_SIM_PORT')], 'first event');
        check([$last->type, $last->outcome] === [EventType::Outcome, Outcome::Approved], 'outcome event');
        array_push($all, ...$events);
    }
    $after = simStats('ZV_SIM_STATS');
    $resumed = countOf($all, fn (Event $e) => $e->type === EventType::HandshakeDone && $e->resumed);
    $full = countOf($all, fn (Event $e) => $e->type === EventType::HandshakeDone && !$e->resumed);
    check([$full, $resumed] === [$after['handshakes_full'] - $before['handshakes_full'],
        $after['handshakes_resumed'] - $before['handshakes_resumed']], "handshakes full $full, resumed $resumed");
    check($resumed > 0, 'a session resumed');
    check(countOf($all, fn (Event $e) => $e->type === EventType::RequestSent) === $after['messages'] - $before['messages'], 'requests sent');
    check(countOf($all, fn (Event $e) => $e->type === EventType::HandshakeDone
        && !(str_starts_with((string) $e->tlsVersion, 'TLS') && $e->cipher)) === 0, 'TLS version and cipher');
    check(!str_contains(var_export($all, true), '4111'), 'no card data in events');

    $lostBefore = simStats('ZV_LOST_SIM_STATS');
    [$events, $result] = collect(purchase(port: 'ZV_LOST_SIM_PORT'));
    $checks = array_values(array_map(fn (Event $e) => $e->statusCheck,
        array_filter($events, fn (Event $e) => $e->type === EventType::StatusCheck)));
    check(count($checks) === (simStats('ZV_LOST_SIM_STATS')['messages_STATUS'] ?? 0) - ($lostBefore['messages_STATUS'] ?? 0), 'status checks');
    check($checks !== [] && $checks === range(1, count($checks)), 'status checks numbered from 1');
    check($result->outcome === Outcome::Unknown && end($events)->outcome === Outcome::Unknown, 'unknown outcome');

    // A throwing handler loses its events, never the payment; null removes it.
    $t = purchase();
    $calls = 0;
    $t->setEventHandler(function () use (&$calls): void {
        $calls++;
        throw new RuntimeException('metrics backend down');
    });
    $result = $t->execute();
    check($result->approved() && $calls === 1, "approved after $calls calls");
    check($result->handlerError?->getMessage() === 'metrics backend down', 'the handler error kept');
    $t->setEventHandler(null);
    $t->flush();
    $failure = thrown(TransactionException::class, fn () => $t->execute());
    check($failure->outcome->handlerError === null && $calls === 1, 'no events without a handler');
}

$failed = 0;
foreach (get_defined_functions()['user'] as $function) {
    if (str_starts_with($function, 'test')) {
        try {
            $function();
            echo "ok   $function\n";
        } catch (Throwable $e) {
            $failed++;
            echo "FAIL $function: {$e->getMessage()}\n";
        }
    }
}
exit($failed === 0 ? 0 : 1);
