// Sockets to be called at. Any thread; the umask is the process's and changes for a moment.
#pragma once

#include <string>

namespace orvix::gateway {

// Both return a listening descriptor that does not block and is closed on exec, for the caller to close; they throw
// std::runtime_error with a text for people.

// A Unix socket of mode 0660 and group orvix; where that group is missing or not ours to give, it keeps our own and a
// warning is logged. The socket file of a service that is gone is replaced, another file never. The folder is made
// where its parent lets us.
int listenOnPath(const std::string& path);

// "HOST:PORT", "[ADDRESS]:PORT"; without a host everywhere.
// Of a name's addresses the first is taken. Port 0 lets the kernel choose. Asks the resolver, which may block.
int listenOnTcp(const std::string& address);

// "127.0.0.1:8775", as the kernel has it.
std::string tcpAddressOf(int listener);

}  // namespace orvix::gateway
