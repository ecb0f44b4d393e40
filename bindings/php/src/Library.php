<?php

declare(strict_types=1);

namespace Zelvan;

/**
 * Loads libzelvanclient through FFI, once per process.
 *
 * Where the library comes from, in order:
 *  1. The FFI scope "ZELVAN", when php.ini's ffi.preload names
 *     src/zelvanclient.h: web servers, whose ffi.enable is "preload" by
 *     default, allow FFI only through such a scope. The header names
 *     libzelvanclient.so.1, found through the dynamic loader.
 *  2. The file that $ZELVAN_LIBRARY names: an explicit choice wins, and
 *     when it is set nothing else is tried.
 *  3. libzelvanclient.so.1, then libzelvanclient.so, through the dynamic
 *     loader's search (LD_LIBRARY_PATH and the system's directories).
 */
final class Library
{
    public const VARIABLE = 'ZELVAN_LIBRARY';
    public const SCOPE = 'ZELVAN';

    private static ?\FFI $ffi = null;

    /** The loaded library; throws LibraryException when no candidate loads. */
    public static function ffi(): \FFI
    {
        return self::$ffi ??= self::load();
    }

    /**
     * The files tried when no preloaded scope exists, in order.
     *
     * @return list<string>
     */
    public static function candidates(): array
    {
        $named = getenv(self::VARIABLE);
        if (is_string($named) && $named !== '') {
            return [$named];
        }
        return ['libzelvanclient.so.1', 'libzelvanclient.so'];
    }

    private static function load(): \FFI
    {
        try {
            return \FFI::scope(self::SCOPE);
        } catch (\FFI\Exception) {
            // Nothing was preloaded: declare the functions here.
        }
        // cdef() takes declarations only, without the FFI_* directives.
        $declarations = preg_replace('/^#.*$/m', '', self::header());
        $reasons = [];
        foreach (self::candidates() as $candidate) {
            try {
                return \FFI::cdef($declarations, $candidate);
            } catch (\FFI\Exception $error) {
                $reasons[] = "$candidate: " . $error->getMessage();
            }
        }
        throw new LibraryException('libzelvanclient could not be loaded (set ' . self::VARIABLE
            . " to its path):\n  " . implode("\n  ", $reasons));
    }

    private static function header(): string
    {
        return file_get_contents(__DIR__ . '/zelvanclient.h');
    }
}
