<?php

declare(strict_types=1);

namespace Zelvan;

/** What an Event reports; the values are the C API's ZELVAN_EVENT_*. */
enum EventType: int
{
    /** An address of a server is tried: server, address, port. */
    case ServerTried = 1;
    /** A TCP connection is open: server, address, port. */
    case Connected = 2;
    /** The TLS handshake completed: tlsVersion, cipher, resumed. */
    case HandshakeDone = 3;
    /** A message was written to the gateway. */
    case RequestSent = 4;
    /** A whole reply was read from the gateway. */
    case ReplyRead = 5;
    /** A status check begins: statusCheck is its number, from 1. */
    case StatusCheck = 6;
    /** execute() is over: outcome is what it came to. */
    case Outcome = 7;
}
