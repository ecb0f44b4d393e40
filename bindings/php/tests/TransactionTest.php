<?php

// The PHP binding driving real transactions against the gateway simulator.
// Environment: ZELVAN_LIBRARY (the library under test), ZV_SIM_PORT,
// ZV_CERT_DIR and ZV_CERT_PASSWORD (see tests/support/with_gateway_sim.py).

declare(strict_types=1);

require __DIR__ . '/../autoload.php';

use Zelvan\Transaction;
use Zelvan\TransactionException;

const CARD = '4111111111111111';

function check(bool $condition, string $what): void
{
    if (!$condition) {
        throw new RuntimeException("failed: $what");
    }
}

function purchase(string $card = CARD, ?string $password = null): Transaction
{
    $t = new Transaction();
    $t->setServers('127.0.0.1');
    $t->setPort(getenv('ZV_SIM_PORT'));
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

function testDeclineIsAResultAndAFailureThrowsWithTheBundleTexts(): void
{
    $result = purchase('4000000000000002')->execute();
    check($result->declined() && !$result->approved() && $result->result() === '1', 'declined');
    check($result->responseCode() === '05', 'decline code');
    try {
        purchase(CARD, 'wrong')->execute();
        check(false, 'execute() throws');
    } catch (TransactionException $e) {
        $error = 'UNABLE TO INITIALISE SSL.';
        check($e->outcome->error() === $error && $e->outcome->result() === '-1', 'failure texts');
        check(!$e->outcome->completed && !$e->outcome->outcomeUnknown(), 'no exchange');
        check(str_starts_with($e->getMessage(), $error) && !str_contains($e->getMessage(), CARD), 'failure message');
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
