#pragma once

#include <QtGlobal>

#include <vector>

// Where a line of ASCII text may end, as QTextLayout sees it. It wraps by the Unicode line breaking
// algorithm, which is a small automaton as long as nothing but ASCII comes along.

namespace AsciiBreaks {

/// Whether the automaton knows @p character: ASCII but for the tab and for what ends a line.
bool isKnown(ushort character);

/// Whether a line may end between two neighbours, neither of them a blank, unless they belong to a
/// number: then only find() knows. False is final.
bool isPossible(ushort before, ushort after);

/// Sets @p breaks, which gets a flag per character: whether a line may end before it. It holds
/// within words; at a blank QTextLayout may end a line without asking. All characters are known.
void find(const ushort *text, int length, std::vector<bool> &breaks);

} // namespace AsciiBreaks
