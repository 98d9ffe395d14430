#pragma once

#include "audit/tree.h"

#include <QStringList>

/// The families that a TrueType or OpenType file, or a collection of them, says it holds; none if
/// the file is nothing of the kind. Reads little of it, whatever its tables say.
QStringList fontFamilies(Tree &tree, const QString &path);
