#pragma once

#include "tests/audit/instrumenttree.h"

#include <functional>

// A row for every kind of finding: the damage to an instrument with which nothing is wrong, and all
// that is found then, as InstrumentTree::findings() has it with "|" between.

using Damage = std::function<void(InstrumentTree &)>;
Q_DECLARE_METATYPE(Damage)

void row(const char *name, const Damage &damage, const QByteArray &findings);

void keyRows(); ///< Of keys, of who may change them, of mounts.
