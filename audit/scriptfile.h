#pragma once

#include "audit/findings.h"
#include "audit/tree.h"

#include <optional>

// What keeps the kernel from starting a script, or a script from being understood.

struct ScriptFault
{
    Kind kind;
    QString problem; ///< To be read after the script's path.
    bool starts; ///< It is started all the same, and fails in what it does.
};

/// The first thing that is wrong with @p script, if any.
std::optional<ScriptFault> scriptFault(Tree &tree, const QString &script);

/// What is wrong with @p program, which is to be started by its full path, to be read after it;
/// empty if nothing is.
QString programFault(Tree &tree, const QString &program);

/// Where @p name is found as a shell looks for it; empty if nowhere.
QString findProgram(Tree &tree, const QString &name);
