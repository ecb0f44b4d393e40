// TypeScript declarations of the Node.js binding of libzelvanclient.

/** The fields of a bundle, by name. */
export type Fields = Record<string, string>;

/** The outcome of a transaction: the bundle after execute(). */
export class Result {
  /** execute()'s return value: the exchange ran to its end. */
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
  /** RESULT "0" after a completed exchange without ERROR. */
  readonly approved: boolean;
  /** The gateway decided against the payment. */
  readonly declined: boolean;
  /** A TXNREFERENCE without a final RESULT: never repeat the payment. */
  readonly outcomeUnknown: boolean;
  /** A summary that never holds card data. */
  toString(): string;
}

/** No decision from the gateway: a local failure or an error reply. */
export class TransactionError extends Error {
  readonly outcome: Result;
  readonly error: string | null;
  readonly errorDetail: string | null;
  readonly result: string | null;
  readonly outcomeUnknown: boolean;
}

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
  /** Blocks the event loop until the gateway answers; throws TransactionError without a decision. */
  execute(): Result;
  /** Runs on a worker thread; rejects with TransactionError without a decision. */
  executeAsync(): Promise<Result>;
  flush(): this;
  close(): void;
}
