<?php

// Runs one transaction case file through the PHP binding:
//     php run_case.php CASEFILE
// under run_case_with.py, which starts the simulators, gives the tokens in
// ZV_CASE_* and compares [stats], [sent] and [log]. Prints each difference on
// standard error; exits 1 when there is one. tests/data/README.md
// describes the format.

declare(strict_types=1);

require __DIR__ . '/../../../bindings/php/autoload.php';

use Zelvan\Outcome;
use Zelvan\OutcomeUnknownException;
use Zelvan\Transaction;
use Zelvan\TransactionException;

const OUTCOMES = ['APPROVED' => Outcome::Approved, 'DECLINED' => Outcome::Declined,
    'NO_DECISION' => Outcome::NoDecision, 'UNKNOWN' => Outcome::Unknown];

$sections = [];
foreach (file($argv[1], FILE_IGNORE_NEW_LINES) as $line) {
    $line = rtrim($line, " \t\r");
    if ($line === '' || $line[0] === '#') {
        continue;
    }
    if ($line[0] === '[' && str_ends_with($line, ']')) {
        $section = substr($line, 1, -1);
        $sections[$section] = [];
    } else {
        $sections[$section][] = $line;
    }
}
$tokens = ['%CERTS' => getenv('ZV_CASE_CERTS'), '%PASSWORD' => getenv('ZV_CASE_PASSWORD'),
    '%LOGFILE' => getenv('ZV_CASE_LOGFILE'), '%FREEPORT' => getenv('ZV_CASE_FREEPORT'),
    '%CR' => "\r", '%LF' => "\n", '%EQ' => '='];
$failures = [];

function sub(string $text): string
{
    global $tokens;
    return strtr($text, $tokens);
}

function check(bool $ok, string $what): void
{
    global $failures;
    if (!$ok) {
        $failures[] = $what;
    }
}

function lines(string $section): array
{
    global $sections;
    return array_map(fn ($line) => explode('=', $line, 2) + [1 => ''], $sections[$section] ?? []);
}

// Settings, then request fields; false when the binding refused a field itself.
function fill(Transaction $t, string $port): bool
{
    global $tokens;
    $tokens['%PORT'] = $port;
    foreach (lines('settings') as [$name, $value]) {
        $value = sub($value);
        match ($name) {
            'SERVERS' => $t->setServers($value), 'SERVERPORT' => $t->setPort($value),
            'CLIENTID' => $t->setClientId($value), 'CERTIFICATEPATH' => $t->setCertificate($value),
            'CERTIFICATEPASSWORD' => $t->setCertificatePassword($value), 'LOGFILE' => $t->setDebugLog($value),
        };
    }
    foreach (lines('request') as [$name, $value]) {
        [$name, $value] = [sub($name), sub($value)];
        try {
            $t->set($name, $value);
        } catch (InvalidArgumentException) {
            return false;
        }
        check($t->get($name) === $value, "put stores what it is given: $name");
    }
    return true;
}

// execute() returns when the gateway decided and throws when it did not.
function execute(Transaction $t): Zelvan\Result
{
    try {
        $result = $t->execute();
        check($result->approved() || $result->declined(), 'execute() returned for ' . $result->outcome->name);
    } catch (TransactionException $e) {
        $result = $e->outcome;
        check(!$result->approved() && !$result->declined(), 'execute() threw for ' . $result->outcome->name);
        check(($e instanceof OutcomeUnknownException) === $result->outcomeUnknown(), 'the wrong exception');
    }
    return $result;
}

if (getenv('ZV_CASE_BEFORE_PORT') !== false) {
    $first = new Transaction();
    fill($first, getenv('ZV_CASE_BEFORE_PORT'));
    check(execute($first)->completed, '[before]: the first run failed');
    $first->close();
    @unlink($tokens['%LOGFILE']);
}
$t = new Transaction();
if (!fill($t, getenv('ZV_CASE_PORT'))) {
    check(in_array(['ERROR', 'INVALID FIELD'], lines('fields')), 'the binding refused a request field');
} else {
    $start = hrtime(true);
    $result = execute($t);
    $seconds = (hrtime(true) - $start) / 1e9;
    foreach (lines('result') as [$name, $value]) {
        match ($name) {
            'return' => check((int) $result->completed === (int) $value, "return: " . (int) $result->completed),
            'outcome' => check($result->outcome === OUTCOMES[$value], "outcome: {$result->outcome->name}"),
            'seconds-under' => check($seconds < (float) $value, sprintf('took %.1f s', $seconds)),
        };
    }
    foreach (lines('fields') as [$name, $value]) {
        check($t->get($name) === sub($value), "$name: not the value expected");
    }
    foreach ($sections['absent'] ?? [] as $name) {
        check($t->get($name) === null, "$name is present");
    }
    foreach (lines('match') as [$name, $pattern]) {
        $value = $t->get($name);
        check($value !== null && preg_match("\x01^(?:$pattern)\\z\x01", $value) === 1, "$name: does not match $pattern");
    }
}
$t->close();
foreach ($failures as $failure) {
    fwrite(STDERR, basename($argv[1]) . ": $failure\n");
}
exit($failures ? 1 : 0);
