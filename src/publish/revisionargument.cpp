#include "publish/revisionargument.h"

#include "publish/indexedit.h"

#include <QDateTime>
#include <QFile>

namespace freshen::publish {

QList<IndexLine> linesOfArgument(const IndexChange &change, Context &context)
{
    const QString argument = context.arguments.first();
    bool isNumber = false;
    const qint32 revision = argument.toInt(&isNumber);
    const QList<IndexLine> lines = isNumber ? linesWith(change.index(), revision) : QList<IndexLine>();
    if (lines.isEmpty())
        static_cast<void>(context.report.fail(ExitCode::NothingToDo,
                                              QStringLiteral("No line has the revision \"%1\".").arg(argument)));
    return lines;
}

void restartAge(const DocumentRoot &root, const QStringList &names)
{
    for (const QString &name : names) {
        QFile file(root.packageFile(name));
        if (file.exists() && file.open(QIODevice::ReadWrite))
            file.setFileTime(QDateTime::currentDateTime(), QFileDevice::FileModificationTime);
    }
}

} // namespace freshen::publish
