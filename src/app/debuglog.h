#pragma once

/// \file
/// The debug log, which support reads after a failed update. Every message of the program goes to standard error and,
/// with a time stamp and a level letter, to the end of one file.

#include <QtGlobal>

class QFile;
class QMessageLogContext;
class QString;

namespace freshen {

/// Hands over the file that writeDebugLog() appends to; it is opened with the first message. The file must outlive all
/// messages. A null pointer means that there is no file.
void setDebugLogFile(QFile *file);

/// \a time, in milliseconds since the epoch, as the lines of the log begin: "yyMMdd hh:mm:ss:zzz", local time.
/// For one thread at a time.
QString logTime(qint64 time);

/// Message handler for qInstallMessageHandler(). Nothing is filtered. The handler itself ends no process: after a fatal
/// message Qt does, once the handler has returned. Each line goes to the end of the file as a whole, whoever else
/// writes there. Where the file cannot be opened, each message tries again and the line on standard error is all there
/// is.
void writeDebugLog(QtMsgType type, const QMessageLogContext &context, const QString &message);

} // namespace freshen
