#include "publish/packagecopies.h"

#include "publish/progressbar.h"
#include "publish/wholefile.h"

#include <QFileInfo>

namespace freshen::publish {

namespace {

QString makeCopy(const PackageCopy &copy, const QString &target, const Report &report)
{
    ProgressBar bar(QStringLiteral("Copying"), QFileInfo(copy.source).size(), !report.isQuiet());
    return copyWholeFile(copy.source, target, [&bar](qint64 done) { bar.set(done); });
}

bool isMade(const PackageCopy &copy, const QString &target, const Report &report)
{
    ProgressBar bar(QStringLiteral("Comparing"), QFileInfo(copy.source).size(), !report.isQuiet());
    return haveSameContent(copy.source, target, [&bar](qint64 done) { bar.set(done); });
}

} // namespace

QList<Finding> checkCopies(const QList<PackageCopy> &copies, const DocumentRoot &root, const Report &report)
{
    QList<Finding> findings;
    for (const PackageCopy &copy : copies) {
        const QString target = root.packageFile(copy.name);
        if (QFileInfo::exists(target) && !isMade(copy, target, report)) {
            findings.append({packageDiffers, QStringLiteral("The package is there already, with other bytes."),
                             root.relative(target)});
        }
    }
    return findings;
}

QString makeCopies(const QList<PackageCopy> &copies, const DocumentRoot &root, const Report &report)
{
    for (const PackageCopy &copy : copies) {
        const QString target = root.packageFile(copy.name);
        if (QFileInfo::exists(target))
            continue;
        QString error = makeCopy(copy, target, report);
        if (!error.isEmpty())
            return error;
    }
    return {};
}

} // namespace freshen::publish
