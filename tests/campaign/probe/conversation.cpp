#include "conversation.h"

#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr char SocketPath[] = "/run/campaign/socket";

} // namespace

Conversation::Conversation(const std::string &firstLine)
    : socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, SocketPath, sizeof SocketPath);
    if (connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        _exit(120); // no test can come of it; the player sees an end that no model expects
    say(firstLine);
}

Conversation::~Conversation() { close(socket); }

void Conversation::say(const std::string &line)
{
    const std::string text = line + '\n';
    for (size_t sent = 0; sent < text.size();) {
        const ssize_t count = send(socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count <= 0)
            _exit(121);
        sent += static_cast<size_t>(count);
    }
}

bool Conversation::hasLine() const { return read.find('\n') != std::string::npos; }

std::string Conversation::hear()
{
    while (!hasLine()) {
        char bytes[512];
        const ssize_t count = recv(socket, bytes, sizeof bytes, 0);
        if (count <= 0)
            _exit(122);
        read.append(bytes, static_cast<size_t>(count));
    }
    const size_t end = read.find('\n');
    const std::string line = read.substr(0, end);
    read.erase(0, end + 1);
    return line;
}
