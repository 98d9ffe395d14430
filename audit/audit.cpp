#include "audit/audit.h"

void auditInstrument(Tree &tree, Findings &findings)
{
    auditScripts(tree, findings);
    auditPrograms(tree, findings);
    auditMarkers(tree, findings);
    auditLogList(tree, findings);
    auditManifests(tree, findings);
    auditActivePartition(tree, findings);
    auditFonts(tree, findings);
    auditLocale(tree, findings);
    auditKeys(tree, findings);
    auditWritable(tree, findings);
    auditMounts(tree, findings);
    auditWorkPlace(tree, findings);
}
