#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// The simulated instrument that a test runs on, seen from inside the sandbox: its paths are the
// real ones. Everything a test puts there is gone with clear().

namespace Instrument {

/// An instrument flashed before, without scripts, without a storage device, without marker files
/// and without recorded calls.
void clear();

/// Writes a file, making the directories above it.
void write(const QString &path, const QByteArray &content);
QByteArray read(const QString &path);

/// Makes an executable script that records its call and then runs the shell lines of @p body.
void writeScript(const QString &path, const QByteArray &body = {});
/// Makes every script of the update, each of which records its call and succeeds.
void writeUpdateScripts();
/// The recorded calls in their order, each the script's path and its arguments, one blank between.
QStringList calls();

/// Runs the shell lines, which must succeed.
void shell(const QByteArray &lines);

/// Plugs in a storage device; @p update says whether it carries an update directory.
void plugStorageDevice(bool update = true);
void unplugStorageDevice();

/// A blank board has no second partition on its internal storage.
void setBlank(bool blank);

} // namespace Instrument
