#include "script/external.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "host/channel.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/run.h"
#include "start/settings.h"

namespace vela {

namespace {

void ChannelSink(intptr_t client, const char* reply) {
  ChannelReply(static_cast<ChannelClient>(client), reply);
}
ExternalReply g_reply = ChannelSink;

bool OnChannelRequest(const char* command, int wantsData, ChannelClient client) {
  return QueueExternalRequest(command, wantsData, static_cast<intptr_t>(client));
}

void Free(ExternalCommand* c) {
  std::free(c->text);
  delete c;
}

}  // namespace

void SetExternalReply(ExternalReply reply) {
  g_reply = reply ? reply : ChannelSink;
}

bool QueueExternalRequest(const char* command, int wantsData, intptr_t client) {
  auto* c = new (std::nothrow) ExternalCommand{};
  if (!c) return false;
  c->refused = command == nullptr;
  c->text = strndup(command ? command : "", kCallbackSize - 1);
  if (!c->text) {
    delete c;
    return false;
  }
  c->record.command = c->text;
  c->record.client = client;
  c->record.wantsData = wantsData;
  QueueExternalCommand(c);
  return true;
}

void RunExternalCommand(ExternalCommand* c) {
  // Behind qd_quit nothing more runs: the rest of the queue is refused as at shut-down.
  if (c->refused || ExitFlag) {
    g_reply(c->record.client, "ack 0");
    Free(c);
    return;
  }
  // The command may wait in a Requester while another one is handled here.
  int bracket = BracketMode, written = ResultWritten;
  CommandRecord& r = c->record;
  ExecuteCommand(&r);
  if (!r.wantsData) {
    g_reply(r.client, BreakFlag ? "ack 0" : "ack 1");
  } else if (!r.found && !BreakFlag) {
    g_reply(r.client, "ack 0");
  } else {
    std::string data = "data ";
    data += BreakFlag ? "BREAK" : r.result;
    BreakFlag = 0;
    g_reply(r.client, data.c_str());
  }
  BracketMode = bracket;
  ResultWritten = written;
  Free(c);
}

void ReleaseExternalCommand(ExternalCommand* c) {
  g_reply(c->record.client, "ack 0");
  Free(c);
}

bool StartCommands() {
  GaugeEnabled = MainSet.gauge;
  Input().runCommand = RunExternalCommand;
  Input().releaseExternal = ReleaseExternalCommand;
  ChannelSetRequestHandler(OnChannelRequest);
  return true;
}

}  // namespace vela
