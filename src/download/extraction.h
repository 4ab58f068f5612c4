#pragma once

#include <QString>

#include <functional>

/// Unpacks a stored package (a ZIP archive, PKWARE APPNOTE), with a read check on every entry.

/// Called as the extraction goes on.
struct ExtractionObserver
{
    /// The archive is open and holds \a entries entries.
    std::function<void(int entries)> started;
    /// Called before each entry is looked at, so that the caller can stay responsive.
    std::function<void()> beforeEntry;
    /// The entry with this number, counted from 1, is being unpacked.
    std::function<void(int number)> entry;
};

/// Unpacks \a archivePath into \a targetFolder and deletes the archive. Existing files are overwritten, missing folders
/// made; the target folder is not cleaned beforehand.
///
/// Returns whether everything was unpacked and read to its end with the right checksum. Failures are appended to
/// \a errorText and logged as warnings; they carry the error code of the ZIP reader (0 is no error, -105 a wrong
/// checksum). On failure the files unpacked so far and the archive stay. An archive that cannot be deleted is reported
/// in \a errorText but does not count as a failure. Entries whose name leads out of the target folder are refused.
bool extractPackage(const QString &archivePath, const QString &targetFolder, const ExtractionObserver &observer,
                    QString &errorText);

/// Whether \a name, the name of an entry as stored in the archive, stays below the folder that it is unpacked into, on
/// every system: no absolute path, no drive or stream, no step upwards, no device of Windows, no zero byte.
[[nodiscard]] bool isSafeEntryName(const QString &name);
