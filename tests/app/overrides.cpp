#include "tests/app/overrides.h"

#include "tests/support/instrument.h"

const QByteArray offeredPrint = "BOARD Previously Flashed - Partition 2 already exists\n";
const QByteArray overrideValid = "Overide exists\nOveride valid - Interactive false\n";
const QByteArray overrideNotValid = "Overide exists\nOveride not valid - 1\n";
const QByteArray rejectedPrint = "OVERRIDE directory found!\nImplementing overrides...\n"
                                 "Verifying Files...FAILED\nostat = 98\nFINISHED\n";

const Screen overrideMatches = {
    {"messageFrm", "shown, enabled"},
    {"messages",
     "shown, enabled: Override Matches Existing Display Setting\n\nContinueing with normal install "
     "mode."},
};

const Screen overrideInvalid = {
    {"messageFrm", "shown, enabled"},
    {"messages",
     "shown, enabled: Override Combination Invalid\n============================\nOnly one Sizexx "
     "or SizeClear may be present at a time.\n"},
};

const Screen overrideRejected = {
    {"update_title", "shown, enabled: Verifying Files:\nFAILED"},
    {"usbLabel",
     "shown, enabled: See 'update/update_override.log' on\nUSB storage device for\nexplanation of "
     "failure!"},
    {"pbuttonUtils", "shown, enabled: Support\nTools"},
    {"pbuttonVersions", "shown, enabled: Versions"},
};

QByteArray installed(const QByteArray &code)
{
    return "OVERRIDE directory found!\nImplementing overrides...\nStatus set...\nostat = " + code
        + '\n';
}

void plugOverride(const QByteArray &lines)
{
    Instrument::plugStorageDevice();
    Instrument::write(QStringLiteral("/media/usb0/update/OVERRIDE/Size10"), {});
    Instrument::writeScript(QString::fromLatin1(overrideScript), lines);
}
