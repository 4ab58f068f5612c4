#pragma once

/// \file
/// What a command of freshen-publish tells its caller: findings, results and how it ended.

#include "publish/finding.h"

#include <QJsonObject>
#include <QList>
#include <QString>

namespace freshen::publish {

/// How the tool ends, as the exit code of its process.
enum class ExitCode {
    Clean = 0,
    /// There are findings, and the report is complete.
    Findings = 1,
    Usage = 2,
    NothingToDo = 3,
    /// A file, folder or server could not be read or written.
    FileOrNetwork = 4,
    /// Another freshen-publish works on the folder, or it was changed meanwhile.
    LockedOrChanged = 5,
};

/// How the report is written.
enum class Format { Text, Json };

/// Collects what a command tells. The document goes to standard output when the command has ended; prose goes to
/// standard error at once.
class Report
{
public:
    /// \a isStrict: warnings count as findings. \a isQuiet: no prose but errors. \a hasColor: severities are coloured.
    Report(Format format, bool isStrict, bool isQuiet, bool hasColor)
        : m_format(format), m_isStrict(isStrict), m_isQuiet(isQuiet), m_hasColor(hasColor)
    {
    }

    /// Takes one finding up.
    void add(const Finding &finding);
    /// Takes all of \a findings up.
    void add(const QList<Finding> &findings);
    /// Adds \a value to the JSON document under \a name, for results that are not findings.
    void set(const QString &name, const QJsonValue &value);
    /// Adds a line to the text that goes to standard output in the format Text, before the findings.
    void print(const QString &line);
    /// Tells the user, on standard error, what the command does; nothing where the tool is quiet.
    void say(const QString &line) const;
    /// Tells the user on standard error why the command cannot go on; returns \a code, for the caller to return.
    [[nodiscard]] ExitCode fail(ExitCode code, const QString &reason);

    /// Whether prose is not wanted.
    [[nodiscard]] bool isQuiet() const
    {
        return m_isQuiet;
    }
    /// The findings so far, in the order of their coming.
    [[nodiscard]] const QList<Finding> &findings() const
    {
        return m_findings;
    }
    /// Clean, or Findings where some count: errors always, warnings where the tool is strict.
    [[nodiscard]] ExitCode verdict() const;
    /// In the format Text, findings go to standard error: the results are for another program to read.
    void separateFindings()
    {
        m_isSeparate = true;
    }
    /// Writes the document to standard output. \a code is how the command ended; returned is how the tool does, since
    /// a document that cannot be written is a failure. A command that goes on after its results are known writes it by
    /// itself; later calls do nothing.
    [[nodiscard]] ExitCode write(ExitCode code);

private:
    [[nodiscard]] bool writeText() const;
    [[nodiscard]] QByteArray document(ExitCode code) const;

    Format m_format;
    bool m_isStrict;
    bool m_isQuiet;
    bool m_hasColor;
    bool m_isSeparate = false;
    bool m_isWritten = false;
    QList<Finding> m_findings;
    QStringList m_lines;
    QJsonObject m_results;
    QString m_reason;
};

} // namespace freshen::publish
