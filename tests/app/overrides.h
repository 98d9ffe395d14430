#pragma once

#include "tests/app/walk.h"

// A storage device with overrides, and what they do to the screen.

constexpr char overrideScript[] = "/etc/update/00-USB-installoverrides.sh";

extern const QByteArray offeredPrint; ///< As the buttons come up.
extern const QByteArray overrideValid; ///< As an override file is found.
extern const QByteArray overrideNotValid;
extern const QByteArray rejectedPrint;
/// What is printed when the script has ended with @p code and nothing was rejected.
QByteArray installed(const QByteArray &code);

extern const Screen overrideMatches;
extern const Screen overrideInvalid;
extern const Screen overrideRejected;

/// Plugs in a stick with one override file. Its script ends with the shell lines @p lines.
void plugOverride(const QByteArray &lines);
