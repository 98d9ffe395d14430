#pragma once

#include "tests/update/model.h"

#include <QStringList>

/// How the window and the console go through an update. The worker and the window print at the same
/// time, so each has its own order of lines and no other.
struct UpdateRun
{
    QStringList scripts; ///< Full paths.
    QByteArray workerPrints;
    QByteArray windowPrints; ///< The steps' messages, then the end.
    QByteArray title; ///< The last one.
};

UpdateRun updateRun(int mode, Model::Course course = Model::Course::Whole, int recoveryCode = 0);

struct ConsoleLines
{
    QByteArray worker;
    QByteArray window;
};

/// Takes a console apart into the worker's lines of @p run and all others.
ConsoleLines takenApart(const QByteArray &console, const UpdateRun &run);
