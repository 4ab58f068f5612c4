#pragma once

/// \file
/// Unpacks a stored package (a ZIP archive, PKWARE APPNOTE), with a read check on every entry.

#include <QString>

#include <functional>

namespace freshen {

/// Called as the extraction goes on; each does nothing unless it is set.
struct ExtractionObserver
{
    /// The archive is open and holds \a entries entries.
    std::function<void(int entries)> started = [](int) {};
    /// Called before each entry is looked at, so that the caller can stay responsive.
    std::function<void()> beforeEntry = [] {};
    /// The entry with this number, counted from 1, is being unpacked.
    std::function<void(int number)> entry = [](int) {};
};

/// How an extraction ended.
struct [[nodiscard]] ExtractionResult
{
    /// Everything was unpacked and read to its end with the right checksum.
    bool succeeded = true;
    /// What went wrong, for the user, with the error code of the ZIP reader (0 is no error, -105 a wrong checksum). Not
    /// always empty after a success: an archive that cannot be deleted is no failure.
    QString errorText;
};

/// Unpacks \a archivePath into \a targetFolder and deletes the archive. Existing files are overwritten, missing folders
/// made; the target folder is not cleaned beforehand. Entries whose name leads out of the target folder are refused.
/// Failures are also logged as warnings. After a failure the files unpacked so far and the archive stay.
ExtractionResult extractPackage(const QString &archivePath, const QString &targetFolder,
                                const ExtractionObserver &observer);

/// Whether entries compressed by \a method (PKWARE APPNOTE 4.4.5) are unpacked.
[[nodiscard]] bool isKnownMethod(quint16 method);

/// Whether \a name, the name of an entry as stored in the archive, stays below the folder that it is unpacked into, on
/// every system: no absolute path, no drive or stream, no step upwards, no device of Windows, no zero byte.
[[nodiscard]] bool isSafeEntryName(const QString &name);

} // namespace freshen
