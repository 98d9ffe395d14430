#pragma once

#include <QString>

#include <vector>

// Which scripts each update mode runs, in their order, read from the tables that the program walks.

/// What the program makes of a script's result.
enum class Verdict {
    None, ///< Nothing: the next script runs.
    Aborts, ///< Any code but 0 leads straight to the reboot.
    Rejects, ///< The marker file rejects the update; the code counts for nothing.
    CleansUp, ///< Nothing; runs only after a rejection.
    Reboots, ///< The last one: the program expects not to survive it.
};

struct ScriptUse
{
    QString script; ///< Full path.
    int progress; ///< Per cent.
    QString message; ///< On the screen while it runs.
    Verdict verdict;
    QString rejection; ///< The title that a rejection is announced with, for Verdict::Rejects.
};

struct ModePlan
{
    const char *name; ///< For people.
    const char *id; ///< For machines.
    std::vector<ScriptUse> scripts; ///< Of an update that nothing stops.
    std::vector<ScriptUse> afterRejection; ///< Empty where a rejected update just stops.
    QString succeeded; ///< Last message.
    QString failed; ///< Last message after an abort, and after a rejection that is cleaned up.
};

/// The four modes that an instrument can be updated in.
const std::vector<ModePlan> &modePlans();

/// What the user sees when @p use fails in the mode of @p plan.
QString seenOnFailure(const ModePlan &plan, const ScriptUse &use);

/// What the user sees, over all modes, when @p script cannot be started; empty for a script that no
/// mode runs.
QString seenIfNotStarted(const QString &script);
