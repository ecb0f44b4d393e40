<?php

// Loads the Zelvan\ classes for applications that do not use Composer:
// require this file instead of vendor/autoload.php.
spl_autoload_register(static function (string $class): void {
    if (str_starts_with($class, 'Zelvan\\')) {
        $file = __DIR__ . '/src/' . str_replace('\\', '/', substr($class, 7)) . '.php';
        if (is_file($file)) {
            require $file;
        }
    }
});
