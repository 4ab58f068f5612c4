#include "fuzz/fuzzing.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QtEndian>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

void drop(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    Q_UNUSED(type)
    Q_UNUSED(context)
    Q_UNUSED(message)
}

} // namespace

/// Called once, before the first input.
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    // The program logs every step. The texts are still put together, but not written.
    qInstallMessageHandler(drop);
    // It sets the locale, on which the encoding of file names and batch files depends.
    static const QCoreApplication application(*argc, *argv);
    return 0;
}

void require(bool holds, const char *property)
{
    if (holds)
        return;
    std::fprintf(stderr, "PROPERTY VIOLATED: %s\n", property);
    std::abort();
}

const QString &privateFolder()
{
    static const auto folder = [] {
        const QString memory = QStringLiteral("/dev/shm");
        const QString fallback = QDir(memory).exists() ? memory : QDir::tempPath();
        const QString above = qEnvironmentVariable("FRESHEN_FUZZ_PLACE", fallback);
        return std::make_unique<QTemporaryDir>(above + QLatin1String("/freshen-fuzz-XXXXXX"));
    }();
    require(folder->isValid(), "there is a place for the files of this run");
    static const QString path = QDir(folder->path()).canonicalPath();
    return path;
}

Input::Input(const std::uint8_t *data, std::size_t size)
    : m_bytes(reinterpret_cast<const char *>(data), static_cast<int>(size))
{
}

bool Input::isEmpty() const
{
    return m_position >= m_bytes.size();
}

std::uint8_t Input::byte()
{
    return isEmpty() ? std::uint8_t{0} : static_cast<std::uint8_t>(m_bytes.at(m_position++));
}

qint32 Input::number()
{
    quint32 value = 0;
    for (int shift = 0; shift < 32; shift += 8)
        value |= static_cast<quint32>(byte()) << shift;
    return static_cast<qint32>(value);
}

QByteArray Input::line()
{
    const int end = m_bytes.indexOf('\n', m_position);
    const QByteArray result = end < 0 ? rest() : m_bytes.mid(m_position, end - m_position);
    m_position = end < 0 ? m_bytes.size() : end + 1;
    return result;
}

QString Input::text()
{
    return QString::fromUtf8(line());
}

QByteArray Input::rest()
{
    const QByteArray result = m_bytes.mid(m_position);
    m_position = m_bytes.size();
    return result;
}
