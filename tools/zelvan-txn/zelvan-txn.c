/*
** zelvan-txn: runs one transaction through libzelvanclient's C API and
** prints the reply fields, one "NAME=value" line each. Exits 0 when the
** transaction succeeded (execute returned 1), 1 when it failed, 2 on a
** usage error.
*/
#define _POSIX_C_SOURCE 200809L

#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zelvanclient.h"

#define PASSWORD_VARIABLE "ZELVAN_CERT_PASSWORD"

static void usage(FILE *out) {
  fprintf(out,
          "usage: zelvan-txn -s SERVERS -p PORT -c CERTIFICATE [options] NAME=VALUE...\n"
          "  -s, --servers LIST     gateway servers, separated by commas, semicolons or blanks\n"
          "  -p, --port PORT        gateway port\n"
          "  -c, --cert PATH        client certificate (PEM or PKCS#12)\n"
          "  -w, --password TEXT    certificate password (default: $" PASSWORD_VARIABLE
          ", which keeps it out of the process list)\n"
          "  -a, --ca-file PATH     verify the gateway's certificate against these CAs\n"
          "  -i, --client-id ID     merchant's client identifier (or CLIENTID=ID)\n"
          "  -l, --log PATH         write the debug log to PATH (\"stdout\" for the terminal)\n"
          "  -h, --help             show this text\n"
          "Every NAME=VALUE is put into the bundle as it stands (TRANSACTIONTYPE=PURCHASE, ...).\n");
}

static int compareLines(const void *a, const void *b) {
  return strcmp(*(char *const *)a, *(char *const *)b);
}

/* Prints the bundle's fields in name order, leaving out the local "_" ones
** (the certificate path and password among them). */
static void printReply(txn *t) {
  char *all = get(t, "THEWORKS");
  char **lines;
  char *line;
  char *rest;
  size_t count = 0, i;
  if (all == NULL) return;
  lines = malloc(sizeof(char *) * (strlen(all) / 2 + 1));
  if (lines != NULL) {
    for (line = strtok_r(all, "\r\n", &rest); line != NULL; line = strtok_r(NULL, "\r\n", &rest)) {
      if (line[0] != '_') lines[count++] = line;
    }
    qsort(lines, count, sizeof(char *), compareLines);
    for (i = 0; i < count; i++) printf("%s\n", lines[i]);
    free(lines);
  }
  free(all);
}

int main(int argc, char **argv) {
  static const struct option options[] = {
      {"servers", required_argument, NULL, 's'}, {"port", required_argument, NULL, 'p'},
      {"cert", required_argument, NULL, 'c'},    {"password", required_argument, NULL, 'w'},
      {"ca-file", required_argument, NULL, 'a'}, {"client-id", required_argument, NULL, 'i'},
      {"log", required_argument, NULL, 'l'},     {"help", no_argument, NULL, 'h'},
      {NULL, 0, NULL, 0}};
  const char *servers = NULL, *port = NULL, *cert = NULL, *caFile = NULL, *clientId = NULL;
  const char *logPath = NULL;
  const char *password = getenv(PASSWORD_VARIABLE);
  txn *t;
  int option, i, ok;

  while ((option = getopt_long(argc, argv, "s:p:c:w:a:i:l:h", options, NULL)) != -1) {
    switch (option) {
      case 's': servers = optarg; break;
      case 'p': port = optarg; break;
      case 'c': cert = optarg; break;
      case 'w': password = optarg; break;
      case 'a': caFile = optarg; break;
      case 'i': clientId = optarg; break;
      case 'l': logPath = optarg; break;
      case 'h': usage(stdout); return 0;
      default: usage(stderr); return 2;
    }
  }
  if (servers == NULL || port == NULL || cert == NULL) {
    usage(stderr);
    return 2;
  }
  for (i = optind; i < argc; i++) {
    if (strchr(argv[i], '=') == NULL || argv[i][0] == '=') {
      fprintf(stderr, "zelvan-txn: field \"%s\" is not NAME=VALUE\n", argv[i]);
      return 2;
    }
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
  if (caFile != NULL) put(t, "_CAFILE", caFile);
  if (clientId != NULL) put_ClientID(t, clientId);
  for (i = optind; i < argc; i++) {
    char *field = argv[i];
    char *equals = strchr(field, '=');
    *equals = '\0';
    put(t, field, equals + 1);
    *equals = '=';
  }

  ok = execute(t);
  printReply(t);
  cleanup(t);
  return ok == 1 ? 0 : 1;
}
