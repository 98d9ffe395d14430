#pragma once

#include "tests/support/transcript.h"
#include "update/updatethread.h"

/// What an update left behind when its thread had ended.
struct Outcome
{
    QByteArrayList lines;
    int status;
    std::string verifyFailText;
};

inline Outcome runUpdate(int mode)
{
    UpdateThread thread;
    const Transcript transcript(&thread);
    thread.setMode(mode);
    thread.start(QThread::InheritPriority);
    thread.wait();
    return {Transcript::lines(), thread.status, thread.verifyFailText};
}
