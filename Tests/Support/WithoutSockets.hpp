#pragma once
// A system that has no sockets left, for what is to be told then.

#include <functional>

/// Runs the body on a thread of its own, to which the system refuses every socket (EMFILE). Only sockets: a limit on descriptors
/// would also hit the sanitizers, which open some for themselves. False when the system knows no such filter; nothing has run then.
[[nodiscard]] bool withoutSockets(const std::function<void()>& body);
