<?php

// The PHP binding driving real transactions against the gateway simulator.
// Environment: ZELVAN_LIBRARY (the library under test), ZV_SIM_PORT,
// ZV_CERT_DIR and ZV_CERT_PASSWORD (see tests/support/with_gateway_sim.py).
// Run without arguments it runs every test; "worker N" runs N purchases
// and prints one line per result, for the parallel test.

declare(strict_types=1);

require __DIR__ . '/../autoload.php';

use Zelvan\Result;
use Zelvan\Transaction;
use Zelvan\TransactionException;

const CARD = '4111111111111111';

function check(bool $condition, string $what): void
{
    if (!$condition) {
        throw new RuntimeException("failed: $what");
    }
}

function purchase(string $card = CARD, array $settings = []): Transaction
{
    $settings += ['port' => getenv('ZV_SIM_PORT'), 'certificate' => getenv('ZV_CERT_DIR') . '/client.p12'];
    $t = new Transaction();
    $t->setServers('127.0.0.1');
    if ($settings['port'] !== null) {
        $t->setPort($settings['port']);
    }
    $t->setClientId('10000001');
    $t->setCertificate($settings['certificate'], getenv('ZV_CERT_PASSWORD'));
    $t->setCaFile(getenv('ZV_CERT_DIR') . '/ca.pem');
    $t->set('TRANSACTIONTYPE', 'PURCHASE');
    $t->set('CARDDATA', $card);
    $t->set('CARDEXPIRYDATE', '1230');
    $t->set('CVC2', '123');
    $t->set('AMOUNT', '12.50');
    return $t;
}

function failure(Transaction $t): TransactionException
{
    try {
        $t->execute();
    } catch (TransactionException $e) {
        return $e;
    }
    throw new RuntimeException('failed: execute() did not throw');
}

function closedPort(): int
{
    $server = stream_socket_server('tcp://127.0.0.1:0');
    $port = (int) substr(strrchr(stream_socket_get_name($server, false), ':'), 1);
    fclose($server);
    return $port;
}

function testApprovedPurchaseMasksCardData(): void
{
    $t = purchase();
    $result = $t->execute();
    check($result->approved() && !$result->declined() && !$result->outcomeUnknown(), 'approved');
    check([$result->result(), $result->responseCode(), $result->responseText()] === ['0', '00', 'APPROVED'], 'codes');
    check(str_starts_with($result->authCode(), 'A') && str_starts_with($result->txnReference(), 'ZS'), 'auth code and reference');
    check($result->field('CARDDATA') === '411111XXXXXX1111' && $t->get('CVC2') === '***', 'card data masked');
    check(preg_grep('/^_/', array_keys($result->fields)) === [], 'no local field in the result');
    check(isset($t->fields(true)['_CERTIFICATEPASSWORD']), 'local fields on request');
    check(str_contains((string) $result, 'approved') && !str_contains((string) $result, '411111'), 'string form');
    $t->close();
    $t->close();
    try {
        $t->get('RESULT');
        check(false, 'a closed transaction is refused');
    } catch (LogicException) {
    }
}

function testDeclineIsAResultNotAnError(): void
{
    foreach (['4000000000000002' => ['05', 'DO NOT HONOUR'], '4000000000009995' => ['51', 'INSUFFICIENT FUNDS']] as $card => $reply) {
        $result = purchase((string) $card)->execute();
        check($result->declined() && !$result->approved() && $result->result() === '1', "$card declined");
        check([$result->responseCode(), $result->responseText()] === $reply, "$card codes");
    }
}

function testFieldsTheMessageCannotCarryAreRefused(): void
{
    $t = new Transaction();
    foreach ([['AMOUNT', "1\r\nAMOUNT=1000"], ['AMOUNT', "1\n"], ['AMOUNT', "1\0"], ['ORDERREF', 'secret=b'],
              ['AM=OUNT', '1'], ['', '1'], ["AMOUNT\r", '1']] as [$name, $value]) {
        try {
            $t->set($name, $value);
            check(false, 'refused: ' . json_encode([$name, $value]));
        } catch (InvalidArgumentException $e) {
            check(!str_contains($e->getMessage(), 'secret') && !str_contains($e->getMessage(), '1000'), 'no value in the message');
        }
    }
    foreach ([fn () => $t->setServers("127.0.0.1\nSERVER1=evil"), fn () => $t->setPort('1=2')] as $setting) {
        try {
            $setting();
            check(false, 'refused setting');
        } catch (InvalidArgumentException) {
        }
    }
    check($t->fields(true) === [], 'nothing stored');
    // Local fields never travel, so "=" is theirs to hold.
    $t->setCertificatePassword('pa=ss');
    check($t->fields(true) === ['_CERTIFICATEPASSWORD' => 'pa=ss'], 'local field with "="');
}

function testLocalFailuresThrowWithTheBundleTexts(): void
{
    $cases = [
        [['port' => null], 'UNABLE TO CONNECT - NO PORT SET'],
        [['port' => closedPort()], 'UNABLE TO CONNECT - COULD NOT OPEN SOCKET'],
        [['certificate' => getenv('ZV_CERT_DIR') . '/missing.p12'], 'COULD NOT OPEN CERTIFICATE - INVALID PATH SET'],
    ];
    foreach ($cases as [$settings, $error]) {
        $e = failure(purchase(CARD, $settings));
        check($e->outcome->error() === $error && $e->outcome->result() === '-1', "$error: texts");
        check(!$e->outcome->completed && !$e->outcome->outcomeUnknown(), "$error: no exchange");
        check(str_starts_with($e->getMessage(), $error) && !str_contains($e->getMessage(), CARD), "$error: message");
    }
}

function testProcessesRunTransactionsInParallel(): void
{
    // PHP serves requests in separate processes: several at once, each
    // with its own transactions, sharing the certificate's session store.
    $workers = [];
    for ($i = 0; $i < 4; $i++) {
        $process = proc_open([PHP_BINARY, __FILE__, 'worker', '3'], [1 => ['pipe', 'w']], $pipes);
        $workers[] = [$process, $pipes[1]];
    }
    $lines = [];
    foreach ($workers as [$process, $out]) {
        $lines = array_merge($lines, array_filter(explode("\n", stream_get_contents($out))));
        fclose($out);
        check(proc_close($process) === 0, 'worker exit status');
    }
    check(count($lines) === 12, 'every purchase reported');
    $references = [];
    foreach ($lines as $line) {
        [$decision, $reference] = explode(' ', $line) + [1 => ''];
        check($decision === 'approved', "parallel purchase: $line");
        $references[$reference] = true;
    }
    check(count($references) === 12, 'distinct references');
}

function testExamplePurchase(): void
{
    $dir = getenv('ZV_CERT_DIR');
    $command = [PHP_BINARY, __DIR__ . '/../examples/purchase.php', '--server', '127.0.0.1', '--port', getenv('ZV_SIM_PORT'),
        '--certificate', "$dir/client.p12", '--password', getenv('ZV_CERT_PASSWORD'), '--ca-file', "$dir/ca.pem", CARD, '12.50'];
    $process = proc_open($command, [1 => ['pipe', 'w']], $pipes);
    $output = stream_get_contents($pipes[1]);
    fclose($pipes[1]);
    check(proc_close($process) === 0, "example exit status: $output");
    check(str_contains($output, 'approved: APPROVED') && str_contains($output, 'card 411111XXXXXX1111'), "example output: $output");
}

if (($argv[1] ?? '') === 'worker') {
    for ($i = 0; $i < (int) $argv[2]; $i++) {
        $t = purchase();
        try {
            $result = $t->execute();
            echo $result->approved() ? 'approved' : 'declined', ' ', $result->txnReference(), "\n";
        } catch (TransactionException $e) {
            echo 'failed ', $e->getMessage(), "\n";
        }
        $t->close();
    }
    exit(0);
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
