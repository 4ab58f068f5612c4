#include "app/elevatedstart.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

namespace freshen {

namespace {

/// What Windows answers to a start that went well, nearly always.
constexpr int started = 42;

} // namespace

StartResult startElevated(const QString &file, const QString &argument, const QString &workingFolder)
{
    // The program keeps the rights that it has: there is no question for consent to ask here.
    const QFileInfo program(QDir(workingFolder), file);
    if (!program.exists())
        return {StartResult::fileNotFound};
    if (!program.isExecutable())
        return {StartResult::accessDenied};
    const bool isStarted = QProcess::startDetached(program.filePath(), {argument}, workingFolder);
    return {isStarted ? started : StartResult::accessDenied};
}

} // namespace freshen
