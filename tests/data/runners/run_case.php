<?php

// Runs one transaction through the PHP binding for run_case_with.py:
//     php run_case.php [S|R|F NAME VALUE]...
// S gives a setting, R puts a request field, F names a field to report after
// execute(). Prints what it saw as one JSON document; run_case_with.py
// compares it with the case.

declare(strict_types=1);

require __DIR__ . '/../../../bindings/php/autoload.php';

use Zelvan\OutcomeUnknownException;
use Zelvan\Transaction;
use Zelvan\TransactionException;

$words = array_slice($argv, 1);
$report = ['refused' => false, 'not_stored' => [], 'fields' => []];
$t = new Transaction();
for ($i = 0; $i < count($words) && !$report['refused']; $i += 3) {
    [$kind, $name, $value] = array_slice($words, $i, 3);
    if ($kind === 'S') {
        match ($name) {
            'SERVERS' => $t->setServers($value), 'SERVERPORT' => $t->setPort($value),
            'CLIENTID' => $t->setClientId($value), 'CERTIFICATEPATH' => $t->setCertificate($value),
            'CERTIFICATEPASSWORD' => $t->setCertificatePassword($value), 'LOGFILE' => $t->setDebugLog($value),
        };
    } elseif ($kind === 'R') {
        try {
            $t->set($name, $value);
            if ($t->get($name) !== $value) {
                $report['not_stored'][] = $name;
            }
        } catch (InvalidArgumentException) {
            $report['refused'] = true;
        }
    }
}
if (!$report['refused']) {
    $start = hrtime(true);
    try {
        $result = $t->execute();
        $report['raised'] = null;
    } catch (TransactionException $e) {
        $result = $e->outcome;
        $report['raised'] = $e instanceof OutcomeUnknownException ? 'unknown' : 'error';
    }
    $report['seconds'] = (hrtime(true) - $start) / 1e9;
    $report['outcome'] = $result->outcome->name;
    $report['completed'] = $result->completed;
    for ($i = 0; $i < count($words); $i += 3) {
        if ($words[$i] === 'F') {
            $report['fields'][$words[$i + 1]] = $t->get($words[$i + 1]);
        }
    }
}
$t->close();
$report['fields'] = (object) $report['fields'];
echo json_encode($report, JSON_THROW_ON_ERROR | JSON_INVALID_UTF8_SUBSTITUTE);
