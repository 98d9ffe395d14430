#pragma once

#include "audit/findings.h"
#include "audit/tree.h"

// The audits of the single rooms. Each adds what it finds in an instrument's tree; none follows a
// link out of it, runs anything or writes.

void auditScripts(Tree &tree, Findings &findings); ///< Of updates, overrides and screens.
void auditPrograms(Tree &tree, Findings &findings); ///< What the program itself starts.
void auditMarkers(Tree &tree, Findings &findings);
void auditLogList(Tree &tree, Findings &findings);
void auditManifests(Tree &tree, Findings &findings);
void auditActivePartition(Tree &tree, Findings &findings);
void auditFonts(Tree &tree, Findings &findings);
void auditLocale(Tree &tree, Findings &findings);

void auditInstrument(Tree &tree, Findings &findings); ///< All of these.

/// What is on a USB storage device, its top being @p stick's.
void auditStick(Tree &stick, Findings &findings);
