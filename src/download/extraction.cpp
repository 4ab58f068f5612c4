#include "download/extraction.h"

#include "download/storedarchive.h"
#include "download/systemcodec.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipfileinfo.h>

#include <algorithm>
#include <array>

namespace freshen {

namespace {

constexpr int copyBufferSize = 4096;

/// Copies the entry's bytes until the reader has no more; what the reader still gave before an error is written.
/// Without an open output, as for the entry of a folder, the bytes are read all the same, since the read check covers
/// them.
void copyEntry(QuaZipFile &entry, QFile &output)
{
    std::array<char, copyBufferSize> buffer{};
    bool isComplete = true;
    qint64 size = 0;
    while ((size = entry.read(buffer.data(), buffer.size())) > 0) {
        if (output.isOpen())
            isComplete = output.write(buffer.data(), size) == size && isComplete;
    }
    if (output.isOpen() && !(output.flush() && isComplete))
        qWarning() << "Cannot write" << output.fileName() << "-" << output.errorString();
}

/// Opens \a output, the file of the entry \a name, for writing. Its folder is made only where that fails: most entries
/// lie in the folder of the entry before. For a name that ends in a separator that is the folder itself.
bool openOutput(QFile &output, const QString &name)
{
    if (output.open(QIODevice::WriteOnly))
        return true;
    if (!name.contains(QDir::separator()))
        return false;
    QDir().mkpath(QFileInfo(output).path());
    return output.open(QIODevice::WriteOnly);
}

ExtractionResult failure(const QString &errorText)
{
    return {false, errorText};
}

/// The failure that \a message, with a place for \a code, tells of.
ExtractionResult failure(const char *message, int code)
{
    return failure(QString::fromLatin1(message).arg(code));
}

/// \a name with a sign for each zero, which a label would end at and a log had better not hold.
QString printable(QString name)
{
    return name.replace(QChar::Null, QChar::ReplacementCharacter);
}

/// Unpacks the archive's current entry.
ExtractionResult extractEntry(QuaZip &archive, const QuaZipFileInfo64 &information, const QString &targetFolder)
{
    QuaZipFile entry(&archive);
    if (!isKnownMethod(information.method))
        return failure("unzip(): file.open(): %1", UNZ_BADZIPFILE);
    if (!entry.open(QIODevice::ReadOnly))
        return failure("unzip(): file.open(): %1", entry.getZipError());

    // The record holds all of the name; of a long one the reader itself knows only the first 256 bytes.
    const QString &storedName = information.name;
    const QString name = QDir::toNativeSeparators(storedName);
    if (entry.getZipError() != UNZ_OK)
        return failure("unzip(): file.getFileName(): %1", entry.getZipError());
    if (!isSafeEntryName(storedName))
        return failure(QStringLiteral("unzip(): unsafe entry name: %1").arg(printable(storedName)));

    const QString target = QDir::toNativeSeparators(targetFolder + QLatin1Char('/')) + name;
    QFile output(target);
    // The entry of a folder cannot be opened for writing; nothing is written then.
    if (!openOutput(output, name) && !name.endsWith(QDir::separator()))
        qWarning() << "Cannot write" << target << "-" << output.errorString();
    copyEntry(entry, output);

    // A package made on Windows stores none: to apply that would leave files that nobody may read, or replace.
    const QFile::Permissions stored = information.getPermissions();
    const bool isApplied = stored != 0 && output.setPermissions(stored);
    qDebug() << "set permission" << isApplied << static_cast<uint>(stored);
    output.close();
    qDebug() << "unzipping" << name;

    // The text names another step than the one that failed; support knows it by these words.
    if (entry.getZipError() != UNZ_OK)
        return failure("testRead(): file.getFileName(): %1", entry.getZipError());
    if (!entry.atEnd())
        return failure(QStringLiteral("testRead(): read all but not EOF"));
    entry.close();
    if (entry.getZipError() != UNZ_OK)
        return failure("testRead(): file.close(): %1", entry.getZipError());
    return {};
}

ExtractionResult extractAll(QuaZip &archive, const QString &targetFolder, const ExtractionObserver &observer)
{
    if (!archive.open(QuaZip::mdUnzip))
        return failure("unzip(): zip.open(): %1", archive.getZipError());
    const int count = archive.getEntriesCount();
    observer.started(count);

    int number = 0;
    for (bool more = archive.goToFirstFile(); more; more = archive.goToNextFile()) {
        observer.beforeEntry();
        QuaZipFileInfo64 information;
        if (!archive.getCurrentFileInfo(&information))
            return failure("testRead(): getCurrentFileInfo(): %1\n", archive.getZipError());
        observer.entry(++number);
        ExtractionResult result = extractEntry(archive, information, targetFolder);
        if (!result.succeeded)
            return result;
    }
    // The directory could not be read on: what is missing must not pass for unpacked.
    if (number < count)
        return failure("testRead(): getCurrentFileInfo(): %1\n", archive.getZipError());

    archive.close();
    if (archive.getZipError() != UNZ_OK)
        return failure("testRead(): zip.close(): %1", archive.getZipError());
    return {};
}

} // namespace

ExtractionResult extractPackage(const QString &archivePath, const QString &targetFolder,
                                const ExtractionObserver &observer)
{
    StoredArchive file(archivePath);
    QuaZip archive(&file);
    archive.setFileNameCodec(systemCodec());
    ExtractionResult result = extractAll(archive, targetFolder, observer);
    if (result.succeeded && !QFile::remove(archivePath))
        result.errorText = QStringLiteral("unzip(): Cannot remove ZIP file: %1").arg(archivePath);
    if (!result.errorText.isEmpty())
        qWarning().noquote() << result.errorText;
    return result;
}

bool isKnownMethod(quint16 method)
{
    // The reader supports another method but never returns on truncated input.
    constexpr quint16 stored = 0;
    constexpr quint16 deflated = 8;
    return method == stored || method == deflated;
}

bool isSafeEntryName(const QString &name)
{
    // Windows takes both slashes as separators, drops blanks and full stops at the end of a name, and knows its devices
    // by name, whatever their extension.
    static const QRegularExpression device(
        QStringLiteral("^(con|prn|aux|nul|com[0-9¹²³]|lpt[0-9¹²³]|conin\\$|conout\\$)"
                       " *(\\..*)?$"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression parentReference(QStringLiteral("^\\.[. ]*\\.[. ]*$"));
    const QString slashed = QString(name).replace(QLatin1Char('\\'), QLatin1Char('/'));
    // An entry without a name would be the target folder itself.
    if (slashed.isEmpty() || slashed.startsWith(QLatin1Char('/')) || slashed.contains(QLatin1Char(':')))
        return false;
    // To the system the name would end there, as another one.
    if (slashed.contains(QChar(QChar::Null)))
        return false;
    const QStringList steps = slashed.split(QLatin1Char('/'));
    return std::none_of(steps.begin(), steps.end(), [](const QString &step) {
        return parentReference.match(step).hasMatch() || device.match(step).hasMatch();
    });
}

} // namespace freshen
