#ifndef ZELVAN_GATEWAYSIM_MESSAGE_H_
#define ZELVAN_GATEWAYSIM_MESSAGE_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

// The gateway's message format: one "NAME=value" line per field, lines
// ended by CR LF, then the end marker, kEndMarker, which the simulator
// takes from the client library so that both frame messages alike.
#include "gatewayMessage.h"

// The fields of a received message, by name. A later field of the same
// name replaces an earlier one, as it does in the client's bundle.
using Fields = std::map<std::string, std::string>;

// The fields of a reply, in the order they are written.
using ReplyFields = std::vector<std::pair<std::string, std::string>>;

// Parses message text (with or without its end marker). Lines break at
// CR LF, CR or LF; a line counts only when it holds exactly one "=" with a
// name before and a value after it, so END, empty lines and malformed
// lines are skipped as the client skips them.
Fields parseMessage(const std::string& text);

// Formats fields as "NAME=value\r\n" lines followed by the end marker.
std::string formatMessage(const ReplyFields& fields);

// Returns the field's value, or an empty string when it is absent.
std::string fieldOf(const Fields& fields, const std::string& name);

// Returns the reply field's value, or an empty string when it is absent.
std::string replyField(const ReplyFields& fields, const std::string& name);

// Returns text in upper case (ASCII).
std::string upperCase(std::string text);

#endif  // ZELVAN_GATEWAYSIM_MESSAGE_H_
