#include "app/elevatedstart.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

namespace {

/// What Windows answers to a start that went well, nearly always.
constexpr int started = 42;

} // namespace

int startElevated(const QString &file, const QString &argument, const QString &workingFolder)
{
    // The program keeps the rights that it has: there is no question for consent to ask here.
    const QFileInfo program(QDir(workingFolder), file);
    if (!program.exists())
        return startresult::fileNotFound;
    if (!program.isExecutable())
        return startresult::accessDenied;
    const bool isStarted = QProcess::startDetached(program.filePath(), {argument}, workingFolder);
    return isStarted ? started : startresult::accessDenied;
}
