// TypeScript declarations of the Node.js binding of libzelvanclient.

/** The fields of a bundle, by name. */
export type Fields = Record<string, string>;

/** What became of a payment, as the library decides it (zelvanclient_outcome). */
export type Outcome = 'approved' | 'declined' | 'no_decision' | 'unknown';
export const Outcome: {
  /** The gateway's final decision is an approval. */
  readonly APPROVED: 'approved';
  /** The gateway's final decision is not an approval; nothing was charged. */
  readonly DECLINED: 'declined';
  /** The gateway never opened the transaction; nothing was charged; safe to run again. */
  readonly NO_DECISION: 'no_decision';
  /** The gateway opened it (txnReference) and no final decision followed: never run it again. */
  readonly UNKNOWN: 'unknown';
};

/** What an Event reports (the C API's ZELVAN_EVENT_*). */
export type EventType = 'server_tried' | 'connected' | 'handshake_done' | 'request_sent' | 'reply_read'
  | 'status_check' | 'outcome';
export const EventType: {
  /** An address of a server is tried: server, address, port. */
  readonly SERVER_TRIED: 'server_tried';
  /** A TCP connection is open: server, address, port. */
  readonly CONNECTED: 'connected';
  /** The TLS handshake completed: tlsVersion, cipher, resumed. */
  readonly HANDSHAKE_DONE: 'handshake_done';
  /** A message was written to the gateway. */
  readonly REQUEST_SENT: 'request_sent';
  /** A whole reply was read from the gateway. */
  readonly REPLY_READ: 'reply_read';
  /** A status check begins: statusCheck is its number, from 1. */
  readonly STATUS_CHECK: 'status_check';
  /** execute() is over: outcome is what it came to. */
  readonly OUTCOME: 'outcome';
};

/** One event of an execute(); fields it does not use are 0 or null. Never card data. */
export interface Event {
  readonly type: EventType;
  /** Milliseconds since execute() began. */
  readonly elapsedMs: number;
  readonly server: string | null;
  readonly address: string | null;
  readonly port: number;
  readonly resumed: boolean;
  readonly tlsVersion: string | null;
  readonly cipher: string | null;
  readonly statusCheck: number;
  /** For EventType.OUTCOME only. */
  readonly outcome: Outcome | null;
}

/** The bundle after execute() and its outcome. */
export class Result {
  /** What the event handler threw during this execute(), or null (the events stopped after it). */
  readonly handlerError: unknown;
  /** The library's outcome. */
  readonly outcome: Outcome;
  /** execute()'s return value: the last exchange ran to its end (read outcome for the payment). */
  readonly completed: boolean;
  /** Every field except the local "_" ones; card data are masked. */
  readonly fields: Fields;
  readonly result: string | null;
  readonly error: string | null;
  readonly errorDetail: string | null;
  readonly txnReference: string | null;
  readonly authCode: string | null;
  readonly responseCode: string | null;
  readonly responseText: string | null;
  /** "STATUS" after a status enquiry. */
  readonly transactionType: string | null;
  /** TOTAL_TIME in milliseconds, as text. */
  readonly totalTime: string | null;
  /** outcome is Outcome.APPROVED. */
  readonly approved: boolean;
  /** outcome is Outcome.DECLINED. */
  readonly declined: boolean;
  /** outcome is Outcome.UNKNOWN: never repeat the payment. */
  readonly outcomeUnknown: boolean;
  /** A summary that never holds card data. */
  toString(): string;
}

/** No decision of the gateway: Outcome.NO_DECISION, or Outcome.UNKNOWN as OutcomeUnknownError. */
export class TransactionError extends Error {
  /** The Result, card data masked; its outcome is the Outcome. */
  readonly outcome: Result;
  readonly error: string | null;
  readonly errorDetail: string | null;
  readonly result: string | null;
  readonly txnReference: string | null;
  readonly outcomeUnknown: boolean;
}

/** Outcome.UNKNOWN: never run the payment again; ask for the status of txnReference. */
export class OutcomeUnknownError extends TransactionError {}

/** libzelvanclient could not be found or loaded. */
export class LibraryNotFoundError extends Error {}

/**
 * One transaction handle and its bundle of text fields; close() releases it.
 * Names and values holding CR, LF, NUL, or "=" (except in the values of
 * local "_" fields), and empty names, throw a TypeError.
 */
export class Transaction {
  constructor();
  set(name: string, value: string | number): this;
  get(name: string): string | null;
  has(name: string): boolean;
  fields(options?: { includeLocal?: boolean }): Fields;
  setServers(servers: string | readonly string[]): this;
  setPort(port: string | number): this;
  setClientId(clientId: string | number): this;
  setCertificate(path: string, password?: string): this;
  setCertificatePassword(password: string): this;
  setCaFile(path: string): this;
  setDebugLog(destination: string | null): this;
  /** Calls handler for each Event of every later execute, on the main thread; null stops them. */
  setEventHandler(handler: ((event: Event) => void) | null): this;
  /** Blocks the event loop until the gateway answers; throws TransactionError (or OutcomeUnknownError) without a decision. */
  execute(): Result;
  /** Runs on a worker thread; rejects with TransactionError without a decision. */
  executeAsync(): Promise<Result>;
  flush(): this;
  close(): void;
}
