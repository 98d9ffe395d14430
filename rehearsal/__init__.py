"""Rehearses an update: the unmodified program on an instrument that is not there, from its start to the reboot."""
