/*
** The part of a merchant's program that the two installed-tree consumers
** share: one transaction against the gateway simulator on 127.0.0.1.
*/
#ifndef RUN_TRANSACTION_H_
#define RUN_TRANSACTION_H_

#ifdef __cplusplus
extern "C" {
#endif

/*
** Runs a transaction of TYPE for the 16-digit CARD and AMOUNT with the
** client certificate CERTIFICATE (PASSWORD) against the simulator at PORT,
** verifying it against CAFILE. Returns 0 when the gateway approved it and
** the bundle then holds the card masked, 1 otherwise (with the reason on
** standard error).
*/
int runTransaction(const char *port, const char *certificate, const char *password,
                   const char *caFile, const char *type, const char *card, const char *amount);

#ifdef __cplusplus
}
#endif

#endif
