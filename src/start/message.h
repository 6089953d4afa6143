// The one way the lower layers speak to the user. Until the Requesters exist the default sink
// writes to stderr; the window system installs its own, and tests install a recorder.
#pragma once

#include <string>

namespace vela {

using MessageSink = void (*)(const char* text);

void Message(const char* text);
void MessageF(const char* format, ...) __attribute__((format(printf, 1, 2)));
MessageSink SetMessageSink(MessageSink sink);  // returns the previous one; null restores stderr

}  // namespace vela
