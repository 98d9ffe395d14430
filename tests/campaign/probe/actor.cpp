// Stands in the place of every script: says which it is and with which arguments it was started,
// then does what the player tells it. It is started through a symbolic link with the script's name.

#include "conversation.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <string>

#include <sys/resource.h>
#include <unistd.h>

namespace {

// At least so many bytes of lines that nobody else prints, so that they are told apart on the
// console.
void print(size_t bytes)
{
    const std::string line = std::string(63, 'x') + '\n';
    bytes += line.size() - 1 - (bytes - 1) % line.size(); // whole lines only
    std::string block;
    for (int count = 0; count < 1024; ++count)
        block += line;
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        for (size_t left = bytes; left > 0;) {
            const ssize_t count = write(stream, block.data(), std::min(left, block.size()));
            if (count <= 0)
                break; // nobody takes it
            left -= static_cast<size_t>(count);
        }
    }
}

void leaveChildBehind(const Conversation &player)
{
    if (fork() == 0) {
        close(player.descriptor());
        while (true)
            pause();
    }
}

[[noreturn]] void die(int signal)
{
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    std::signal(signal, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
    raise(signal);
    std::exit(123);
}

} // namespace

int main(int argc, char **argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    std::string call = std::string("script ") + argv[0];
    for (int index = 1; index < argc; ++index)
        call += std::string(" ") + argv[index];
    Conversation player(call);
    while (true) {
        const std::string order = player.hear();
        const size_t blank = order.find(' ');
        const std::string verb = order.substr(0, blank);
        const int value = blank == std::string::npos ? 0 : std::stoi(order.substr(blank + 1));
        if (verb == "say")
            print(static_cast<size_t>(value));
        else if (verb == "child")
            leaveChildBehind(player);
        else if (verb == "signal")
            die(value);
        else
            return value; // "exit"
        player.say("done");
    }
}
