#include "publish/bodycomparison.h"
#include "publish/command.h"
#include "publish/index.h"
#include "publish/optionvalues.h"
#include "publish/progressbar.h"
#include "publish/serveraddress.h"
#include "publish/serverclient.h"
#include "publish/serverfindings.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QSslCertificate>

#include <utility>

namespace freshen::publish {

namespace {

constexpr qint64 anHour = 3600;
constexpr NumberOption timeoutOption = {"timeout", 1, anHour};
constexpr qint64 usualTimeout = 30;
/// More than any index has, and little enough for a memory.
constexpr qint64 longestIndex = qint64{16} * 1024 * 1024;

QString caOption()
{
    return QStringLiteral("ca");
}

QList<QCommandLineOption> options()
{
    return {{QString::fromLatin1(timeoutOption.name),
             QStringLiteral("Give up after so many seconds without a byte; %1 by default.").arg(usualTimeout),
             QStringLiteral("SECONDS")},
            {caOption(), QStringLiteral("Trust the authorities in this file (PEM), besides those of the system."),
             QStringLiteral("FILE")}};
}

/// One look at a server.
class Verification
{
public:
    Verification(Context &context, UpdateServer server, ServerClient &client)
        : m_context(context), m_server(std::move(server)), m_client(client)
    {
    }

    ExitCode run();

private:
    [[nodiscard]] ServerAnswer askForIndex(QByteArray &body);
    void verifyPackages(const Index &index);
    void verifyPackage(const QString &name);
    /// Returns whether an updater goes on with \a answer.
    bool judge(const ServerAnswer &answer);

    Context &m_context;
    UpdateServer m_server;
    ServerClient &m_client;
    QStringList m_verified;
};

ExitCode Verification::run()
{
    QByteArray body;
    const ServerAnswer answer = askForIndex(body);
    // Without any answer there is nothing to tell of the server.
    if (answer.error == QNetworkReply::HostNotFoundError || answer.error == QNetworkReply::ConnectionRefusedError)
        return m_context.report.fail(ExitCode::FileOrNetwork,
                                     QStringLiteral("%1: %2").arg(answer.address, answer.errorText));
    if (judge(answer))
        verifyPackages(parseIndex(body));
    m_context.report.set(QStringLiteral("packages"), QJsonArray::fromStringList(m_verified));
    m_context.report.print(QStringLiteral("%1: packages: %2").arg(answer.address).arg(m_verified.size()));
    return m_context.report.verdict();
}

ServerAnswer Verification::askForIndex(QByteArray &body)
{
    BodyComparison comparison(m_context.root.indexFile());
    ServerAnswer answer = m_client.ask(AnswerKind::Index, versionFileAddress(m_server), [&](const QByteArray &piece) {
        body += piece;
        static_cast<void>(comparison.take(piece));
        return body.size() <= longestIndex;
    });
    answer.isCompared = comparison.isPossible();
    answer.difference = comparison.difference();
    return answer;
}

void Verification::verifyPackages(const Index &index)
{
    QStringList plainNames;
    for (const IndexLine &line : index.lines) {
        plainNames.append(packageNames(line).value(NameKind::Plain));
    }
    // Whoever publishes no extended names has no updaters that ask for them.
    for (const QString &name : listedPackages(index)) {
        if (plainNames.contains(name) || QFileInfo::exists(m_context.root.packageFile(name)))
            verifyPackage(name);
    }
}

void Verification::verifyPackage(const QString &name)
{
    const QString path = m_context.root.packageFile(name);
    BodyComparison comparison(path);
    ProgressBar bar(name, QFileInfo(path).size(), !m_context.report.isQuiet());
    qint64 received = 0;
    ServerAnswer answer = m_client.ask(AnswerKind::Package, packageAddress(m_server, name, PortInAddress::Always),
                                       [&](const QByteArray &piece) {
                                           received += piece.size();
                                           bar.set(received);
                                           return comparison.take(piece);
                                       });
    answer.isCompared = comparison.isPossible();
    answer.difference = comparison.difference();
    judge(answer);
    m_verified.append(name);
}

bool Verification::judge(const ServerAnswer &answer)
{
    const std::optional<Finding> failure = failureOf(answer);
    m_context.report.add(failure ? QList<Finding>{*failure} : propertiesOf(answer, QDateTime::currentDateTimeUtc()));
    return !failure;
}

ExitCode run(Context &context)
{
    const std::optional<UpdateServer> server = serverAt(context.arguments.first(), context.root.versionFolder);
    if (!server)
        return context.report.fail(ExitCode::Usage,
                                   QStringLiteral("An updater can be told a scheme (http or https), a host and a port, "
                                                  "not \"%1\".")
                                       .arg(context.arguments.first()));
    std::optional<qint64> timeout = usualTimeout;
    if (!readNumber(context, timeoutOption, timeout))
        return ExitCode::Usage;
    const QString file = context.options.value(caOption());
    const QList<QSslCertificate> authorities =
        file.isEmpty() ? QList<QSslCertificate>() : QSslCertificate::fromPath(file, QSsl::Pem);
    if (!file.isEmpty() && authorities.isEmpty())
        return context.report.fail(ExitCode::FileOrNetwork, QStringLiteral("No certificates in %1.").arg(file));
    ServerClient client(std::chrono::seconds(*timeout), authorities);
    return Verification(context, *server, client).run();
}

} // namespace

const Command verifyCommand = {"verify", "Check the live server as an updater sees it", "URL", options, run};

} // namespace freshen::publish
