// freshen-publish: the tool of those who publish what the updater reads. It finds the command, gives it its options and
// writes its report.

#include "publish/command.h"
#include "publish/console.h"
#include "publish/windowsname.h"
#include "versions/ownversion.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

using namespace freshen::publish;

namespace {

constexpr std::array commands = {
    &checkCommand, &checkPackageCommand, &packCommand,    &addCommand,    &promoteCommand, &withdrawCommand,
    &pruneCommand, &previewCommand,      &publishCommand, &verifyCommand, &serveCommand,
};

QString option(const char *text)
{
    return QString::fromLatin1(text);
}

void addGlobalOptions(QCommandLineParser &parser)
{
    parser.addOptions({
        {option("root"), option("The document root; the current folder by default."), option("DIR"), option(".")},
        {option("folder"), option("The index's folder; VERSIONS by default."), option("FOLDER"), option("VERSIONS")},
        {option("format"), option(R"(How standard output is written: "text" or "json".)"), option("text|json"),
         option("text")},
        {option("strict"), option("Warnings count as findings.")},
        {option("dry-run"), option("Write nothing; say what would be done.")},
        {option("quiet"), option("Say nothing on standard error but why the tool cannot go on.")},
        {option("color"), option(R"(Colour the findings: "auto" (on a terminal), "always" or "never".)"),
         option("auto|always|never"), option("auto")},
    });
    parser.addOption({{option("h"), option("help")}, option("Tell the options and end.")});
    parser.addVersionOption();
}

/// Prints \a text. Returns how the tool ends then.
int printOut(const QString &text)
{
    const bool isWritten = std::fputs(text.toUtf8().constData(), stdout) >= 0 && std::fflush(stdout) == 0;
    return static_cast<int>(isWritten ? ExitCode::Clean : ExitCode::FileOrNetwork);
}

/// The report that the options ask for.
Report reportFor(const QCommandLineParser &options)
{
    const QString color = options.value(option("color"));
    const bool isColored =
        color == option("always") || (color == option("auto") && isTerminal(stdout) && isTerminal(stderr));
    return {options.value(option("format")) == option("json") ? Format::Json : Format::Text,
            options.isSet(option("strict")), options.isSet(option("quiet")), isColored};
}

/// Says why the tool cannot do what the command line says. \a options are what could be read of that.
int refuse(const QCommandLineParser &options, const QString &reason)
{
    Report report = reportFor(options);
    const ExitCode code = report.fail(ExitCode::Usage, reason);
    report.say(option("Try \"freshen-publish --help\"."));
    return static_cast<int>(report.write(code));
}

/// Refuses \a line, whose command is not known: its options may stand anywhere.
int refuseLine(QCommandLineParser &parser, const QStringList &line, const QString &reason)
{
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsOptions);
    static_cast<void>(parser.parse(line));
    return refuse(parser, reason);
}

/// The help of \a options with the tool's name for its path, and without a list of the arguments that the usage tells.
QString helpOf(const QCommandLineParser &options)
{
    const QString path = QCoreApplication::arguments().first();
    const QString help = options.helpText().section(option("\nArguments:"), 0, 0);
    return option("Usage: freshen-publish") + help.mid(help.indexOf(path) + path.size());
}

/// The version or the help, where \a options ask for either instead of work.
std::optional<QString> answerTo(const QCommandLineParser &options)
{
    if (options.isSet(option("version")))
        return QStringLiteral("freshen-publish %1\n").arg(QCoreApplication::applicationVersion());
    return options.isSet(option("help")) ? std::optional(helpOf(options)) : std::nullopt;
}

QString listOfCommands()
{
    // As wide as the longest of them.
    constexpr int callWidth = 28;
    QString text = option("\n\nCommands:\n");
    for (const Command *command : commands) {
        const QString call = (option(command->name) + QLatin1Char(' ') + option(command->arguments)).trimmed();
        text += QStringLiteral("  %1  %2\n").arg(call, -callWidth).arg(option(command->summary));
    }
    return text + option("\n\"freshen-publish COMMAND --help\" tells the options of a command.");
}

/// Whether \a text has one of the values that \a allowed, separated by bars, lists.
bool isOneOf(const QString &text, const char *allowed)
{
    return option(allowed).split(QLatin1Char('|')).contains(text);
}

/// Whether \a text is the name of one folder beside the others of the server: no path, and none that is hidden.
bool isFolderName(const QString &text)
{
    static const QRegularExpression name(QStringLiteral("^[^./\\\\:][^/\\\\:]*$"));
    return name.match(text).hasMatch() && windowsObjection(text).isEmpty();
}

/// Whether \a command takes \a count arguments.
bool takes(const Command &command, int count)
{
    const QStringList names = option(command.arguments).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const int optional = names.filter(QLatin1String("[")).size();
    return count >= names.size() - optional && count <= names.size();
}

/// Runs \a command with \a line, the whole command line without its name.
int run(const Command &command, const QStringList &line)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(option(command.summary));
    addGlobalOptions(parser);
    parser.addOptions(command.options());
    // Shown in the usage in the place of the arguments.
    parser.addPositionalArgument(option(command.name), QString(),
                                 (option(command.name) + QLatin1Char(' ') + option(command.arguments)).trimmed());
    if (!parser.parse(line))
        return refuse(parser, parser.errorText());
    if (const std::optional<QString> answer = answerTo(parser))
        return printOut(*answer);
    if (!takes(command, parser.positionalArguments().size()))
        return refuse(parser,
                      QStringLiteral("The arguments are: %1.")
                          .arg(*command.arguments != '\0' ? option(command.arguments) : QStringLiteral("none")));
    for (const auto &[name, allowed] : {std::pair("format", "text|json"), std::pair("color", "auto|always|never")}) {
        if (!isOneOf(parser.value(option(name)), allowed))
            return refuse(parser, QStringLiteral("--%1 is one of %2.").arg(option(name), option(allowed)));
    }
    if (!isFolderName(parser.value(option("folder"))))
        return refuse(parser, option("--folder takes the name of one folder that is not hidden."));
    const QString root = parser.value(option("root"));
    Report report = reportFor(parser);
    Context context{parser, parser.positionalArguments(),
                    DocumentRoot{QDir::cleanPath(QDir(root).absolutePath()), parser.value(option("folder"))},
                    parser.isSet(option("dry-run")), report};
    return static_cast<int>(report.write(command.run(context)));
}

/// What the updater's code says is told by the findings; only what no command expects is shown.
void showWarnings(QtMsgType type, const QMessageLogContext & /*context*/, const QString &message)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        static_cast<void>(std::fprintf(stderr, "%s\n", qUtf8Printable(message)));
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(option("freshen-publish"));
    QCoreApplication::setApplicationVersion(option(freshen::ownVersion));
    qInstallMessageHandler(showWarnings);

    QCommandLineParser parser;
    parser.setApplicationDescription(option("Checks, makes and publishes what the updater reads.") + listOfCommands());
    addGlobalOptions(parser);
    parser.addPositionalArgument(option("COMMAND"), QString(), option("COMMAND [...]"));
    // What follows the command is its own.
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    QStringList line = QCoreApplication::arguments();
    if (!parser.parse(line))
        return refuseLine(parser, line, parser.errorText());
    if (const std::optional<QString> answer = answerTo(parser))
        return printOut(*answer);
    const QStringList rest = parser.positionalArguments();
    const auto *const command = std::find_if(commands.begin(), commands.end(), [&rest](const Command *known) {
        return !rest.isEmpty() && rest.first() == option(known->name);
    });
    if (command == commands.end())
        return refuseLine(parser, line,
                          rest.isEmpty() ? option("A command is missing.")
                                         : QStringLiteral("There is no command \"%1\".").arg(rest.first()));
    line.removeAt(line.size() - rest.size());
    return run(**command, line);
}
