<?php

// Runs one purchase through the gateway and prints its outcome.
//
//     php purchase.php --server 127.0.0.1 --port 40123 --certificate certs/client.p12 \
//         --password zelvan-test --ca-file certs/ca.pem 4111111111111111 12.50
//
// Exit status: 0 approved, 1 declined, 2 no decision (the error is printed).

declare(strict_types=1);

require __DIR__ . '/../autoload.php';

use Zelvan\Transaction;
use Zelvan\TransactionException;

$options = getopt('', ['server:', 'port:', 'certificate:', 'password:', 'ca-file:', 'client-id:', 'debug-log:'], $rest);
$arguments = array_slice($argv, $rest);
if (!isset($options['server'], $options['port'], $options['certificate']) || count($arguments) !== 2) {
    fwrite(STDERR, "usage: purchase.php --server HOST [--server HOST...] --port PORT --certificate FILE\n"
        . "       [--password TEXT] [--ca-file FILE] [--client-id ID] [--debug-log FILE] CARD AMOUNT\n");
    exit(64);
}
[$card, $amount] = $arguments;

$t = new Transaction();
$t->setServers((array) $options['server']);
$t->setPort($options['port']);
$t->setClientId($options['client-id'] ?? '10000001');
$t->setCertificate($options['certificate'], $options['password'] ?? '');
if (isset($options['ca-file'])) {
    $t->setCaFile($options['ca-file']);
}
if (isset($options['debug-log'])) {
    $t->setDebugLog($options['debug-log']);
}
$t->set('TRANSACTIONTYPE', 'PURCHASE');
$t->set('CARDDATA', $card);
$t->set('AMOUNT', $amount);
try {
    $result = $t->execute();
} catch (TransactionException $failure) {
    echo 'no decision: ', $failure->getMessage(), "\n";
    if ($failure->outcome->outcomeUnknown()) {
        echo 'ask the gateway about reference ', $failure->outcome->txnReference(), "\n";
    }
    exit(2);
} finally {
    $t->close();
}

printf("%s: %s (response code %s)\n", $result->approved() ? 'approved' : 'declined',
    $result->responseText(), $result->responseCode());
printf("reference %s, auth code %s, card %s\n", $result->txnReference(), $result->authCode() ?? '-',
    $result->field('CARDDATA'));
exit($result->approved() ? 0 : 1);
