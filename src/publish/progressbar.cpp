#include "publish/progressbar.h"

#include "publish/console.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace freshen::publish {

namespace {

constexpr qint64 firstDrawing = 1000;
/// Milliseconds from one drawing to the next, so that drawing takes no time of its own.
constexpr qint64 drawingInterval = 100;
constexpr int barWidth = 40;

void writeToTerminal(const QString &text)
{
    static_cast<void>(std::fputs(text.toLocal8Bit().constData(), stderr));
    static_cast<void>(std::fflush(stderr));
}

} // namespace

ProgressBar::ProgressBar(QString label, qint64 total, bool isWanted)
    : m_label(std::move(label)),
      m_total(total),
      m_isWatched(isWanted && isTerminal(stderr)),
      m_nextDrawing(firstDrawing)
{
    m_sinceStart.start();
}

ProgressBar::~ProgressBar()
{
    // Consoles without escape sequences exist, so the line is written over.
    if (m_drawn > 0)
        writeToTerminal(QLatin1Char('\r') + QString(static_cast<int>(m_drawn), QLatin1Char(' ')) + QLatin1Char('\r'));
}

void ProgressBar::set(qint64 value)
{
    if (!m_isWatched || m_sinceStart.elapsed() < m_nextDrawing)
        return;
    m_nextDrawing = m_sinceStart.elapsed() + drawingInterval;
    const QString line = progressLine(m_label, value, m_total);
    m_drawn = line.size();
    writeToTerminal(QLatin1Char('\r') + line);
}

QString progressLine(const QString &label, qint64 value, qint64 total)
{
    const double part = total > 0 ? std::clamp(static_cast<double>(value) / static_cast<double>(total), 0.0, 1.0) : 1.0;
    const QString done(static_cast<int>(part * barWidth), QLatin1Char('#'));
    const QString percent = QString::number(static_cast<int>(part * 100)).rightJustified(3);
    return QStringLiteral("%1 [%2] %3%").arg(label, done.leftJustified(barWidth), percent);
}

} // namespace freshen::publish
