#include "publish/command.h"
#include "publish/console.h"
#include "publish/fileserver.h"
#include "publish/optionvalues.h"
#include "versions/applicationsettings.h"
#include "versions/updateserver.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonObject>

#include <limits>

namespace freshen::publish {

namespace {

constexpr qint64 largest = std::numeric_limits<qint64>::max();
constexpr NumberOption portOption = {"port", 0, std::numeric_limits<quint16>::max()};
constexpr NumberOption throttleOption = {"throttle", 1, largest / 1000};
constexpr NumberOption cutOption = {"cut-at", 0, largest};

QList<QCommandLineOption> options()
{
    return {{QString::fromLatin1(portOption.name),
             QStringLiteral("The port to listen on; one that is free by default."), QStringLiteral("PORT")},
            {QString::fromLatin1(throttleOption.name), QStringLiteral("Send so many bytes a second, for each request."),
             QStringLiteral("BYTES")},
            {QString::fromLatin1(cutOption.name),
             QStringLiteral("End the connection after so many bytes of a package."), QStringLiteral("BYTES")}};
}

/// What makes an updater use \a server.
QJsonObject settingsFor(const UpdateServer &server)
{
    return {{QLatin1String(key::protocol), server.protocol},
            {QLatin1String(key::host), server.host},
            {QLatin1String(key::port), static_cast<int>(server.port)},
            {QLatin1String(key::versionFolder), server.versionFolder}};
}

/// Tells where \a server is, at once: whoever waits for it shall not wait for its end.
ExitCode announce(const UpdateServer &server, Report &report)
{
    const QString address = QStringLiteral("http://%1:%2").arg(server.host).arg(server.port);
    const QJsonObject settings = settingsFor(server);
    report.print(address);
    for (auto setting = settings.begin(); setting != settings.end(); ++setting)
        report.print(setting.key() + QLatin1Char('=') + setting.value().toVariant().toString());
    report.set(QStringLiteral("address"), address);
    report.set(QStringLiteral("settings"), settings);
    report.say(QStringLiteral("Updaters on this machine use this server with these settings of the application (%1, "
                              "%2). Ctrl-C ends it.")
                   .arg(QLatin1String(organizationName), QLatin1String(applicationStoreName)));
    return report.write(ExitCode::Clean);
}

ExitCode run(Context &context)
{
    std::optional<qint64> port = 0;
    Sending sending;
    if (!readNumber(context, portOption, port) || !readNumber(context, throttleOption, sending.throttle) ||
        !readNumber(context, cutOption, sending.cutAt))
        return ExitCode::Usage;
    Report &report = context.report;
    FileServer server(context.root.folder, sending, [&report](const QString &request, int status) {
        report.say(QStringLiteral("%1 %2").arg(status).arg(request));
    });
    if (!server.listen(static_cast<quint16>(*port)))
        return report.fail(ExitCode::FileOrNetwork, server.errorText());
    if (!QFileInfo(context.root.indexFile()).isFile())
        report.say(QStringLiteral("There is no index yet: %1").arg(context.root.indexFile()));
    quitWhenInterrupted();
    const ExitCode code = announce(
        {QStringLiteral("http"), QStringLiteral("127.0.0.1"), server.port(), true, context.root.versionFolder}, report);
    if (code == ExitCode::Clean)
        QCoreApplication::exec();
    return code;
}

} // namespace

const Command serveCommand = {"serve", "Serve the folder to this machine, for trying", "", options, run};

} // namespace freshen::publish
