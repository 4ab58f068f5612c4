#include "kit/qt/extractionrun.h"

#include "kit/qt/files.h"
#include "kit/qt/messagecatcher.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <tuple>

using namespace freshen;

namespace {

/// Gives back the permissions that the entries of a package took from their folders, so that they can be removed.
void openFolders(const QString &folder)
{
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    for (const QFileInfo &entry : QDir(folder).entryInfoList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot))
        openFolders(entry.filePath());
}

} // namespace

QString ExtractionRun::describe() const
{
    return QStringLiteral("result %1, error text \"%2\", messages \"%3\", steps \"%4\", files \"%5\", archive left %6")
        .arg(QString::number(static_cast<int>(succeeded)), errorText, messages.join(QLatin1Char(';')),
             steps.join(QLatin1Char(';')), QStringList(tree.keys()).join(QLatin1Char(';')),
             QString::number(static_cast<int>(archiveIsLeft)));
}

bool ExtractionRun::operator==(const ExtractionRun &other) const
{
    const auto values = [](const ExtractionRun &run) {
        return std::tie(run.succeeded, run.errorText, run.messages, run.steps, run.tree, run.archiveIsLeft);
    };
    return values(*this) == values(other);
}

ExtractionRun runExtraction(const QByteArray &package, const Extraction &extraction)
{
    const QTemporaryDir folder;
    // The names alone do not make the target folder, if none of them has a folder.
    QDir(folder.path()).mkdir(QStringLiteral("out"));
    const ExtractionRun run = runExtractionIn(folder.path(), package, extraction);
    openFolders(folder.path());
    return run;
}

ExtractionRun runExtractionIn(const QString &folder, const QByteArray &package, const Extraction &extraction)
{
    const QString archive = folder + QLatin1String("/Package.zip");
    const QString target = folder + QLatin1String("/out");
    writeFile(archive, package);

    ExtractionRun run;
    ExtractionObserver observer;
    observer.started = [&run](int entries) { run.steps += QStringLiteral("started %1").arg(entries); };
    observer.beforeEntry = [&run] { run.steps += QStringLiteral("before"); };
    observer.entry = [&run](int number) { run.steps += QStringLiteral("entry %1").arg(number); };
    run.messages = messagesOf([&] {
        const ExtractionResult result = extraction(archive, target, observer);
        run.succeeded = result.succeeded;
        run.errorText = result.errorText;
    });
    run.tree = treeOf(target);
    run.archiveIsLeft = QFile::exists(archive);
    return run;
}
