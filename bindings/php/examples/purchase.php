<?php

// Runs one purchase through the gateway and prints its outcome.
//
//     ZELVAN_CERT_PASSWORD=zelvan-test php purchase.php --server 127.0.0.1 --port 40123 \
//         --certificate certs/client.p12 --ca-file certs/ca.pem 4111111111111111 12.50
//
// The certificate's password comes from the environment variable
// ZELVAN_CERT_PASSWORD, never from the command line, where every user of
// the machine could read it. Exit status as zelvan-txn's: 0 approved,
// 1 declined, 2 no decision (safe to run again), 3 outcome unknown (never
// run it again; ask for the status of the reference), 64 usage.

declare(strict_types=1);

require __DIR__ . '/../autoload.php';

use Zelvan\Outcome;
use Zelvan\OutcomeUnknownException;
use Zelvan\Transaction;
use Zelvan\TransactionException;

$options = getopt('', ['server:', 'port:', 'certificate:', 'ca-file:', 'client-id:', 'debug-log:'], $rest);
$arguments = array_slice($argv, $rest);
if (!isset($options['server'], $options['port'], $options['certificate']) || count($arguments) !== 2) {
    fwrite(STDERR, "usage: purchase.php --server HOST [--server HOST...] --port PORT --certificate FILE\n"
        . "       [--ca-file FILE] [--client-id ID] [--debug-log FILE] CARD AMOUNT\n");
    exit(64);
}
[$card, $amount] = $arguments;

$t = new Transaction();
$t->setServers((array) $options['server']);
$t->setPort($options['port']);
$t->setClientId($options['client-id'] ?? '10000001');
$t->setCertificate($options['certificate'], (string) getenv('ZELVAN_CERT_PASSWORD'));
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
} catch (OutcomeUnknownException $unknown) {
    echo 'outcome unknown: ', $unknown->getMessage(), "\n";
    echo 'never run it again; ask for the status of reference ', $unknown->txnReference(), "\n";
    exit(3);
} catch (TransactionException $failure) {
    echo 'no decision: ', $failure->getMessage(), "\n";
    exit(2);
} finally {
    $t->close();
}

printf("%s: %s (response code %s)\n", $result->outcome->text(), $result->responseText(), $result->responseCode());
printf("reference %s, auth code %s, card %s\n", $result->txnReference(), $result->authCode() ?? '-',
    $result->field('CARDDATA'));
exit($result->outcome === Outcome::Approved ? 0 : 1);
