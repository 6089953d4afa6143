// Commands from other programs: the queue of type-5 events and the reply rules of the channel.
#pragma once

#include <cstdint>

#include "script/dispatcher.h"

namespace vela {

// One queued request. A malformed line is queued too, refused, so replies keep the order of
// the lines.
struct ExternalCommand {
  CommandRecord record;
  char* text;  // heap copy of the command; the record points at it
  bool refused;
};

// Makes a record for the queue of the main loop; false when memory is short (the request is
// dropped without a reply). A null command is a refused line.
bool QueueExternalRequest(const char* command, int wantsData, intptr_t client);

// Runs a queued command between events, with the protocol globals kept for an interrupted
// command, sends the reply and frees the record.
void RunExternalCommand(ExternalCommand* command);
// At shut-down: refuses the command with a negative acknowledgement and frees it.
void ReleaseExternalCommand(ExternalCommand* command);

// Where replies go ("ack 1", "ack 0", "data <text>"); the channel by default.
using ExternalReply = void (*)(intptr_t client, const char* reply);
void SetExternalReply(ExternalReply reply);

// Wires the command entries into the run: the type-5 events and the channel's requests.
bool StartCommands();

}  // namespace vela
