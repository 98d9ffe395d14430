#pragma once

#include "common/scriptrunner.h"
#include "update/updatethread.h"

/// Lets a test run single steps in its own thread.
class Steps : public UpdateThread
{
public:
    Steps() { process = newScriptProcess(nullptr); }

    using UpdateThread::backupUserFiles;
    using UpdateThread::checkFilesystem;
    using UpdateThread::checkVersion;
    using UpdateThread::failedCleanup;
    using UpdateThread::finishUpdate;
    using UpdateThread::restoreUserFiles;
    using UpdateThread::runPostUpdate;
    using UpdateThread::setNextPartition;
    using UpdateThread::unzipFirmwareImage;
    using UpdateThread::updateImages;
    using UpdateThread::updateUbootVariables;
    using UpdateThread::validateFiles;
};
