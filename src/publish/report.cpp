#include "publish/report.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace freshen::publish {

namespace {

/// The version of the JSON document. It grows when a reader of the old one would be misled.
constexpr int schema = 1;

/// Whether all of it could be written.
bool writeTo(FILE *stream, const QByteArray &text)
{
    const auto size = static_cast<size_t>(text.size());
    return std::fwrite(text.constData(), 1, size, stream) == size && std::fflush(stream) == 0;
}

/// Each of \a lines with its end.
QByteArray textOf(const QStringList &lines)
{
    return lines.isEmpty() ? QByteArray() : lines.join(QLatin1Char('\n')).toUtf8() + '\n';
}

QString nameOf(Severity severity)
{
    switch (severity) {
    case Severity::Note:
        return QStringLiteral("note");
    case Severity::Warning:
        return QStringLiteral("warning");
    case Severity::Error:
        break;
    }
    return QStringLiteral("error");
}

/// The sequence that switches a terminal to the colour of \a severity (ECMA-48, SGR).
QString colorOf(Severity severity)
{
    switch (severity) {
    case Severity::Note:
        return QStringLiteral("\x1b[36m");
    case Severity::Warning:
        return QStringLiteral("\x1b[33m");
    case Severity::Error:
        break;
    }
    return QStringLiteral("\x1b[31m");
}

/// \a finding as compilers write theirs: file:line:column: severity: message [id].
QString textOf(const Finding &finding, bool hasColor)
{
    QString place = finding.file;
    for (const int number : {finding.line, finding.column}) {
        if (number > 0)
            place += QLatin1Char(':') + QString::number(number);
    }
    const QString severity = nameOf(finding.kind.severity);
    const QString shown = hasColor ? colorOf(finding.kind.severity) + severity + QStringLiteral("\x1b[0m") : severity;
    return QStringLiteral("%1: %2: %3 [%4]").arg(place, shown, finding.message, QLatin1String(finding.kind.id));
}

QJsonObject objectOf(const Finding &finding)
{
    return {{QStringLiteral("id"), QLatin1String(finding.kind.id)},
            {QStringLiteral("severity"), nameOf(finding.kind.severity)},
            {QStringLiteral("file"), finding.file},
            {QStringLiteral("line"), finding.line},
            {QStringLiteral("column"), finding.column},
            {QStringLiteral("message"), finding.message}};
}

} // namespace

void Report::add(const Finding &finding)
{
    m_findings.append(finding);
}

void Report::add(const QList<Finding> &findings)
{
    m_findings.append(findings);
}

void Report::set(const QString &name, const QJsonValue &value)
{
    m_results.insert(name, value);
}

void Report::print(const QString &line)
{
    m_lines.append(line);
}

void Report::say(const QString &line) const
{
    if (!m_isQuiet)
        writeTo(stderr, line.toUtf8() + '\n');
}

ExitCode Report::fail(ExitCode code, const QString &reason)
{
    m_reason = reason;
    writeTo(stderr, "freshen-publish: " + reason.toUtf8() + '\n');
    return code;
}

ExitCode Report::verdict() const
{
    const Severity least = m_isStrict ? Severity::Warning : Severity::Error;
    const bool counts = std::any_of(m_findings.begin(), m_findings.end(),
                                    [least](const Finding &finding) { return finding.kind.severity >= least; });
    return counts ? ExitCode::Findings : ExitCode::Clean;
}

ExitCode Report::write(ExitCode code)
{
    if (std::exchange(m_isWritten, true))
        return code;
    if (m_format == Format::Json ? writeTo(stdout, document(code)) : writeText())
        return code;
    return fail(ExitCode::FileOrNetwork,
                QStringLiteral("Standard output cannot be written: %1").arg(qt_error_string()));
}

bool Report::writeText() const
{
    QStringList findings;
    for (const Finding &finding : m_findings)
        findings.append(textOf(finding, m_hasColor));
    if (!m_isSeparate)
        return writeTo(stdout, textOf(m_lines + findings));
    return writeTo(stdout, textOf(m_lines)) && writeTo(stderr, textOf(findings));
}

QByteArray Report::document(ExitCode code) const
{
    QJsonObject document = m_results;
    QJsonArray findings;
    for (const Finding &finding : m_findings)
        findings.append(objectOf(finding));
    document.insert(QStringLiteral("schema"), schema);
    document.insert(QStringLiteral("ok"), code == ExitCode::Clean);
    document.insert(QStringLiteral("findings"), findings);
    if (!m_reason.isEmpty())
        document.insert(QStringLiteral("error"), m_reason);
    return QJsonDocument(document).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace freshen::publish
