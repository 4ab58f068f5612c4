#pragma once

class QProcess;
class QString;

/// Starts the batch file whose path \a command holds in double quotes in \a process, open for reading and writing.
/// Whether it could be started is told by the process.
void startBatch(QProcess &process, const QString &command);
