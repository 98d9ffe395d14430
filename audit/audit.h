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
void auditKeys(Tree &tree, Findings &findings); ///< Whose updates the instrument installs.
void auditWritable(Tree &tree, Findings &findings); ///< Who could change that.
void auditMounts(Tree &tree, Findings &findings); ///< How a stick gets to its place.
void auditWorkPlace(Tree &tree, Findings &findings); ///< Where copies lie that were verified.

void auditInstrument(Tree &tree, Findings &findings); ///< All of these.

/// What is on a USB storage device, its top being @p stick's.
void auditStick(Tree &stick, Findings &findings);
