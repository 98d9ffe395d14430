#pragma once

#include <string>

/// A line of conversation with the player outside the sandbox, who listens at a socket in the
/// instrument's tree. Each party that has something to say has a conversation of its own: a script,
/// the window, the worker in its pause. Any thread, one at a time.
class Conversation
{
public:
    explicit Conversation(const std::string &firstLine);
    ~Conversation();
    Conversation(const Conversation &) = delete;
    Conversation &operator=(const Conversation &) = delete;

    void say(const std::string &line);
    std::string
    hear(); ///< The next line, waited for without limit; the process ends if there is none.
    bool hasLine() const; ///< Whether hear() would find a whole line that was read already.
    int descriptor() const { return socket; }

private:
    int socket;
    std::string read;
};
