#pragma once

#include "audit/findings.h"
#include "audit/tree.h"

#include <QByteArray>

/// What was looked at, and what came of it.
struct Report
{
    QString root; ///< As the user named it; empty if no instrument was looked at.
    QString stick; ///< The same of a storage device.
    bool strict = false; ///< Notes count as findings.
    Findings findings; ///< Of both.
    UnseenPlaces unseen; ///< Of both.
};

enum ExitStatus { Clean = 0, FoundSomething = 1, CouldNotLook = 2 };

ExitStatus exitStatus(const Report &report);

// UTF-8, closing line break included. What an instrument's files say is written in such a way that
// no terminal takes it for a command.

QByteArray textReport(const Report &report);
QByteArray jsonReport(const Report &report);
/// The scripts of every mode in their order, and what the user sees when one fails.
QByteArray modesReport(const Report &report);
