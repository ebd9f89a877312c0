#pragma once

namespace sorrelwind {

/// Sends Qt's messages to the system log, each line prefixed "sorrelwind: ", and to stderr when
/// that is a terminal or there is no system log. Debug messages are dropped. No message of this
/// program carries clipboard text, a key, a passphrase, a token or a pairing code.
void installLogging();

} // namespace sorrelwind
