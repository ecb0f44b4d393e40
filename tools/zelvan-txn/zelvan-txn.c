/*
** zelvan-txn: runs one transaction through libzelvanclient's C API.
**
** Standard output carries only the outcome: the bundle's fields after the
** transaction, one "NAME=value" line each in name order, or one JSON object
** with --json. Card data never appear: the card number is masked and
** CVC2 and the expiry date are asterisks, whether or not the library got
** as far as masking them itself (a transaction refused before it connects
** leaves them as they were put); the local "_" fields (certificate path and
** password, CA file) are left out. Errors,
** usage messages and the debug log go to standard error, so that a script
** can read standard output as it stands.
**
** The exit status tells a script what happened without parsing anything:
** it is the library's outcome (zelvanclient_outcome), see usage() below.
*/
#define _POSIX_C_SOURCE 200809L

#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "zelvanclient.h"

#define PASSWORD_VARIABLE "ZELVAN_CERT_PASSWORD"

/* Exit statuses. 64 is EX_USAGE of <sysexits.h>. */
enum {
  EXIT_APPROVED = 0,
  EXIT_DECLINED = 1,
  EXIT_NO_DECISION = 2,
  EXIT_UNKNOWN = 3,
  EXIT_USAGE = 64
};

/* The longest password read from --password-file. */
#define PASSWORD_MAX 1024

static void usage(FILE *out) {
  fprintf(out,
          "usage: zelvan-txn -s SERVERS -p PORT -c CERTIFICATE [options] NAME=VALUE...\n"
          "Runs one transaction through the Zelvan gateway and prints its outcome.\n"
          "  -s, --servers LIST        gateway servers, separated by commas, semicolons or blanks\n"
          "  -p, --port PORT           gateway port\n"
          "  -c, --cert PATH           client certificate (PEM or PKCS#12)\n"
          "      --password-file PATH  read the certificate password from the first line of PATH\n"
          "                            (default: $" PASSWORD_VARIABLE ", or no password)\n"
          "  -a, --ca-file PATH        verify the gateway's certificate against these CAs\n"
          "  -i, --client-id ID        merchant's client identifier (or CLIENTID=ID)\n"
          "  -l, --log PATH            write the debug log to PATH; \"-\" for standard error\n"
          "      --timeout MS          bound the whole transaction, status checks included, to MS\n"
          "                            milliseconds (_TIMEOUT)\n"
          "      --proxy URL           reach the gateway through the HTTP proxy\n"
          "                            http://[user:password@]host:port (_PROXY)\n"
          "      --json                print the outcome as one JSON object\n"
          "  -h, --help                show this text\n"
          "  -V, --version             show the version of zelvan-txn and of the library\n"
          "Every NAME=VALUE is put into the bundle as it stands (TRANSACTIONTYPE=PURCHASE, ...).\n"
          "Exit status:\n"
          "  0   approved\n"
          "  1   declined: the gateway decided against it; nothing was charged\n"
          "  2   no decision: the gateway never opened the transaction; nothing was\n"
          "      charged and it is safe to run it again\n"
          "  3   outcome unknown: the gateway opened the transaction (TXNREFERENCE) and no\n"
          "      final decision came; never run it again, ask for its status later\n"
          "  64  usage error\n"
          "--json adds the key \"outcome\": \"approved\", \"declined\", \"no_decision\" or\n"
          "\"unknown\".\n");
}

/* MESSAGE and WHAT make the reason; NULL when getopt_long gave its own. */
static int usageError(const char *message, const char *what) {
  if (message != NULL) fprintf(stderr, "zelvan-txn: %s%s\n", message, what ? what : "");
  fprintf(stderr, "Try 'zelvan-txn --help' for more information.\n");
  return EXIT_USAGE;
}

/* The exit status and the --json name of each of the library's outcomes.
** Anything else (ZELVAN_OUTCOME_NONE cannot follow execute()) counts as
** unknown: the one reading that never leads a script to charge twice. */
static int outcomeStatus(int outcome, const char **name) {
  switch (outcome) {
    case ZELVAN_OUTCOME_APPROVED: *name = "approved"; return EXIT_APPROVED;
    case ZELVAN_OUTCOME_DECLINED: *name = "declined"; return EXIT_DECLINED;
    case ZELVAN_OUTCOME_NO_DECISION: *name = "no_decision"; return EXIT_NO_DECISION;
    default: *name = "unknown"; return EXIT_UNKNOWN;
  }
}

/* Masks a card number as the library does: numbers of 13 to 20
** characters that hold no "X" yet keep their first six and last four
** characters, with "X" in between. */
static void maskCardNumber(char *number) {
  size_t length = strlen(number), i;
  if (length < 13 || length > 20 || strchr(number, 'X') != NULL) return;
  for (i = 6; i < length - 4; i++) number[i] = 'X';
}

/* Hides the value of a card-data field in LINE ("NAME=value") in place:
** CARDDATA masked, CVC2 and CARDEXPIRYDATE all asterisks. */
static void hideCardData(char *line) {
  char *equals = strchr(line, '=');
  size_t nameLength = (size_t)(equals - line);
  if (nameLength == 8 && strncasecmp(line, "CARDDATA", 8) == 0) {
    maskCardNumber(equals + 1);
  } else if ((nameLength == 4 && strncasecmp(line, "CVC2", 4) == 0) ||
             (nameLength == 14 && strncasecmp(line, "CARDEXPIRYDATE", 14) == 0)) {
    memset(equals + 1, '*', strlen(equals + 1));
  }
}

/* Reads the first line of PATH into BUFFER without its line end. */
static int readPassword(const char *path, char *buffer, size_t size) {
  FILE *in = fopen(path, "r");
  size_t length;
  if (in == NULL) return 0;
  if (fgets(buffer, (int)size, in) == NULL) buffer[0] = '\0';
  fclose(in);
  length = strcspn(buffer, "\r\n");
  buffer[length] = '\0';
  return 1;
}

static int compareLines(const void *a, const void *b) {
  return strcmp(*(char *const *)a, *(char *const *)b);
}

/* Whether TEXT is well-formed UTF-8, so that JSON can carry it as it is. */
static int isUtf8(const unsigned char *text) {
  while (*text) {
    int follow = *text < 0x80 ? 0 : (*text & 0xE0) == 0xC0 ? 1 : (*text & 0xF0) == 0xE0 ? 2
                                   : (*text & 0xF8) == 0xF0 ? 3 : -1;
    if (follow < 0) return 0;
    for (text++; follow > 0; follow--, text++)
      if ((*text & 0xC0) != 0x80) return 0;
  }
  return 1;
}

/* Writes TEXT as a JSON string. Bytes of text that is not UTF-8 are taken
** as Latin-1, so that the output always parses. */
static void printJsonString(const char *text) {
  const unsigned char *p = (const unsigned char *)text;
  int utf8 = isUtf8(p);
  putchar('"');
  for (; *p; p++) {
    if (*p == '"' || *p == '\\')
      printf("\\%c", *p);
    else if (*p < 0x20 || *p == 0x7F || (*p >= 0x80 && !utf8))
      printf("\\u%04x", *p);
    else
      putchar(*p);
  }
  putchar('"');
}

/* Prints the bundle's fields in name order, card data hidden, leaving out
** the local "_" ones (the certificate path and password among them); the
** JSON object begins with the outcome's name. */
static void printOutcome(txn *t, int json, const char *outcome) {
  char *all = get(t, "THEWORKS");
  char **lines;
  char *line;
  char *rest;
  size_t count = 0, i;
  if (all == NULL) return;
  lines = malloc(sizeof(char *) * (strlen(all) / 2 + 1));
  if (lines != NULL) {
    for (line = strtok_r(all, "\r\n", &rest); line != NULL; line = strtok_r(NULL, "\r\n", &rest)) {
      if (line[0] != '_' && strchr(line, '=') != NULL) {
        hideCardData(line);
        lines[count++] = line;
      }
    }
    qsort(lines, count, sizeof(char *), compareLines);
    if (json) printf("{\"outcome\": \"%s\"", outcome);
    for (i = 0; i < count; i++) {
      char *equals = strchr(lines[i], '=');
      if (!json) {
        printf("%s\n", lines[i]);
        continue;
      }
      *equals = '\0';
      printf(", ");
      printJsonString(lines[i]);
      printf(": ");
      printJsonString(equals + 1);
    }
    if (json) printf("}\n");
    free(lines);
  }
  free(all);
}

/* Says on standard error why the transaction was not approved. */
static void reportFailure(txn *t, int status) {
  const char *error = get(t, "ERROR");
  const char *detail = get(t, "ERROR_DETAIL");
  const char *reference = get(t, "TXNREFERENCE");
  if (status == EXIT_DECLINED) {
    const char *text = get(t, "RESPONSETEXT");
    fprintf(stderr, "zelvan-txn: declined: RESULT %s%s%s\n", get(t, "RESULT"), text ? ", " : "",
            text ? text : "");
    return;
  }
  fprintf(stderr, "zelvan-txn: %s%s%s%s\n", error ? error : "no final RESULT", detail ? " (" : "",
          detail ? detail : "", detail ? ")" : "");
  if (status == EXIT_UNKNOWN)
    fprintf(stderr, "zelvan-txn: outcome unknown: ask for the status of TXNREFERENCE %s\n", reference);
}

int main(int argc, char **argv) {
  enum { OPTION_PASSWORD_FILE = 256, OPTION_JSON, OPTION_TIMEOUT, OPTION_PROXY };
  static const struct option options[] = {
      {"servers", required_argument, NULL, 's'},
      {"port", required_argument, NULL, 'p'},
      {"cert", required_argument, NULL, 'c'},
      {"password-file", required_argument, NULL, OPTION_PASSWORD_FILE},
      {"ca-file", required_argument, NULL, 'a'},
      {"client-id", required_argument, NULL, 'i'},
      {"log", required_argument, NULL, 'l'},
      {"json", no_argument, NULL, OPTION_JSON},
      {"timeout", required_argument, NULL, OPTION_TIMEOUT},
      {"proxy", required_argument, NULL, OPTION_PROXY},
      {"help", no_argument, NULL, 'h'},
      {"version", no_argument, NULL, 'V'},
      {NULL, 0, NULL, 0}};
  const char *servers = NULL, *port = NULL, *cert = NULL, *caFile = NULL, *clientId = NULL;
  const char *logPath = NULL, *passwordFile = NULL, *timeout = NULL, *proxy = NULL;
  const char *password = getenv(PASSWORD_VARIABLE);
  char passwordBuffer[PASSWORD_MAX + 2];
  int json = 0;
  txn *t;
  const char *outcome;
  int option, i, status;

  while ((option = getopt_long(argc, argv, "s:p:c:a:i:l:hV", options, NULL)) != -1) {
    switch (option) {
      case 's': servers = optarg; break;
      case 'p': port = optarg; break;
      case 'c': cert = optarg; break;
      case OPTION_PASSWORD_FILE: passwordFile = optarg; break;
      case 'a': caFile = optarg; break;
      case 'i': clientId = optarg; break;
      case 'l': logPath = optarg; break;
      case OPTION_JSON: json = 1; break;
      case OPTION_TIMEOUT: timeout = optarg; break;
      case OPTION_PROXY: proxy = optarg; break;
      case 'h': usage(stdout); return 0;
      case 'V':
        printf("zelvan-txn %s (libzelvanclient %s)\n", ZELVANCLIENT_VERSION, zelvanclient_version());
        return 0;
      default: return usageError(NULL, NULL);
    }
  }
  if (servers == NULL || port == NULL || cert == NULL)
    return usageError("missing option: ", servers == NULL ? "-s SERVERS" : port == NULL ? "-p PORT" : "-c CERTIFICATE");
  for (i = optind; i < argc; i++) {
    if (strchr(argv[i], '=') == NULL || argv[i][0] == '=')
      return usageError("field is not NAME=VALUE: ", argv[i]);
  }
  /* The library's log goes to the file it is given; standard error is
  ** the one file of the process that is not the results. */
  if (logPath != NULL && (strcmp(logPath, "-") == 0 || strcmp(logPath, "stderr") == 0))
    logPath = "/dev/stderr";
  else if (logPath != NULL && strcmp(logPath, "stdout") == 0)
    return usageError("the debug log cannot share standard output with the results; use ", "-l -");
  if (passwordFile != NULL) {
    if (!readPassword(passwordFile, passwordBuffer, sizeof passwordBuffer))
      return usageError("cannot read the password file ", passwordFile);
    password = passwordBuffer;
  }

  t = newBundle();
  if (logPath != NULL) {
    put(t, "DEBUG", "ON");
    put(t, "LOGFILE", logPath);
  }
  setServers(t, servers);
  setPort(t, port);
  put_CertificatePath(t, cert);
  put_CertificatePassword(t, password ? password : "");
  if (passwordFile != NULL) memset(passwordBuffer, 0, sizeof passwordBuffer);
  if (caFile != NULL) put(t, "_CAFILE", caFile);
  /* The library checks both settings and refuses unusable ones with
  ** INVALID SETTING, naming the setting but never the proxy's password. */
  if (timeout != NULL) put(t, "_TIMEOUT", timeout);
  if (proxy != NULL) put(t, "_PROXY", proxy);
  if (clientId != NULL) put_ClientID(t, clientId);
  for (i = optind; i < argc; i++) {
    char *field = argv[i];
    char *equals = strchr(field, '=');
    *equals = '\0';
    put(t, field, equals + 1);
    *equals = '=';
  }

  execute(t);
  status = outcomeStatus(zelvanclient_outcome(t), &outcome);
  printOutcome(t, json, outcome);
  if (status != EXIT_APPROVED) reportFailure(t, status);
  cleanup(t);
  return status;
}
