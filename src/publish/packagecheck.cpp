#include "publish/packagecheck.h"

#include "download/extraction.h"
#include "download/packagestore.h"
#include "publish/failure.h"
#include "publish/messagelog.h"
#include "publish/packagedupdater.h"
#include "publish/packagelayout.h"
#include "publish/progressbar.h"
#include "publish/report.h"
#include "publish/scratchfolder.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace freshen::publish {

namespace {

constexpr qint64 gibibyte = qint64{1024} * 1024 * 1024;
/// No data is compressed by more than this (RFC 1951).
constexpr qint64 mostCompressed = 1032;

/// A package on its way into the scratch folder, which shows how far it is.
class WatchedFile : public QFile
{
public:
    WatchedFile(const QString &path, ProgressBar &bar) : QFile(path), m_bar(bar) {}

protected:
    qint64 readData(char *data, qint64 size) override
    {
        m_bar.set(pos());
        return QFile::readData(data, size);
    }

private:
    ProgressBar &m_bar;
};

/// One check of one package.
class Check
{
public:
    Check(const QString &path, const PackageCheckOptions &options, Report &report)
        : m_path(path),
          m_options(options),
          m_report(report),
          m_entries(readEntries(path)),
          m_packed(QFileInfo(path).size()),
          m_total(m_packed + std::min(unpackedSize(), m_packed * mostCompressed)),
          m_bar(QStringLiteral("Checking %1").arg(QFileInfo(path).fileName()), m_total, !report.isQuiet()),
          m_scratch(options.scratchFolder)
    {
    }
    PackageCheck run()
    {
        if (const QString reason = m_scratch.obstacle(m_total); !reason.isEmpty())
            return {reason};
        if (const QString reason = store(); !reason.isEmpty())
            return {reason};
        const bool isExplained = lookAtEntries();
        const QStringList warnings = unpack();
        // What is not the package's fault is the disk's.
        if (!isExplained && !warnings.isEmpty())
            return {warnings.first()};
        return {{}, lookAtUpdater()};
    }

private:
    [[nodiscard]] qint64 unpackedSize() const
    {
        qint64 size = 0;
        // They are what the directory says, which may be anything.
        for (const PackageEntry &entry : m_entries)
            size += std::clamp<qint64>(entry.size, 0, m_packed * mostCompressed);
        return size;
    }
    /// Stores the package as a download does. Returns why that failed.
    [[nodiscard]] QString store()
    {
        WatchedFile package(m_path, m_bar);
        if (!package.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            return failureOf(package);
        const MessageLog log;
        return storePackage(package, m_scratch.package()) ? QString() : log.warnings().join(QLatin1Char('\n'));
    }
    /// Returns whether some entry is such that the updater cannot write all files.
    bool lookAtEntries()
    {
        const QList<Finding> findings = checkSize(m_packed, m_options.shownName) +
                                        checkLayout(m_entries, m_options.shownName) +
                                        checkEntries(m_entries, m_options.shownName, m_options.longestPath);
        for (const Finding &finding : findings)
            m_report.add(finding);
        return std::any_of(findings.begin(), findings.end(), [](const Finding &finding) {
            return finding.kind.severity == Severity::Error ||
                   QLatin1String(finding.kind.id) == QLatin1String(readOnlyEntry.id);
        });
    }
    /// Unpacks the stored package. Returns what the updater warns of although it succeeds.
    [[nodiscard]] QStringList unpack()
    {
        qint64 done = m_packed;
        ExtractionObserver observer;
        observer.entry = [this, &done](int number) {
            m_bar.set(done);
            done += m_entries.value(number - 1).size;
        };
        QDir().mkpath(m_scratch.unpacked());
        m_scratch.expect(m_entries);
        const MessageLog log;
        const ExtractionResult result = extractPackage(m_scratch.package(), m_scratch.unpacked(), observer);
        if (result.succeeded)
            return log.warnings();
        m_report.add({packageNotUnpacked,
                      QStringLiteral("The updater cannot unpack the package: %1").arg(result.errorText.trimmed()),
                      m_options.shownName});
        return {};
    }
    std::optional<qint32> lookAtUpdater()
    {
        const PackageEntry *const updater = findUpdater(m_entries);
        if (updater == nullptr)
            return std::nullopt;
        const std::optional<qint32> revision = revisionOfUpdater(m_path, *updater);
        if (!revision)
            m_report.add(entryFinding(unknownUpdater, QStringLiteral("This updater tells no revision."),
                                      m_options.shownName, *updater));
        else if (m_options.revision && *revision < *m_options.revision)
            m_report.add(entryFinding(oldUpdater,
                                      QStringLiteral("This updater has the revision %1: it is offered the revision %2 "
                                                     "again and again.")
                                          .arg(QString::number(*revision), QString::number(*m_options.revision)),
                                      m_options.shownName, *updater));
        return revision;
    }

    QString m_path;
    const PackageCheckOptions &m_options;
    Report &m_report;
    QList<PackageEntry> m_entries;
    qint64 m_packed;
    qint64 m_total;
    ProgressBar m_bar;
    ScratchFolder m_scratch;
};

} // namespace

QList<Finding> checkSize(qint64 bytes, const QString &package)
{
    if (bytes >= 4 * gibibyte)
        return {{packageBeyond4Gib,
                 QStringLiteral("The package has 4 GiB or more: its length does not fit into what the "
                                "updater stores before it."),
                 package}};
    if (bytes >= 2 * gibibyte)
        return {{packageBeyond2Gib,
                 QStringLiteral("The package has 2 GiB or more: the progress bar of the download "
                                "counts no further."),
                 package}};
    return {};
}

PackageCheck checkPackage(const QString &path, const PackageCheckOptions &options, Report &report)
{
    PackageCheckOptions completed = options;
    if (completed.shownName.isEmpty())
        completed.shownName = QFileInfo(path).fileName();
    return Check(path, completed, report).run();
}

} // namespace freshen::publish
