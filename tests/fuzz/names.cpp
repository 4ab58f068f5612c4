// Names and address of a package, as a row of the version description file and the settings give them. The input is one
// line for each value.

#include "download/packagename.h"
#include "fuzz/fuzzing.h"
#include "versions/updateserver.h"

#include <QUrl>

#include <algorithm>

using namespace freshen;

namespace {

constexpr qint32 firstRevisionWithBetaNames = 2085;

bool isPlainFileName(const QString &name)
{
    return std::none_of(name.begin(), name.end(), [](QChar character) {
        return character == QLatin1Char('/') || character == QLatin1Char('\\') || character == QLatin1Char(':');
    });
}

void checkNames(const VersionRow &row, qint32 revision, const PackageNaming &naming)
{
    const QString selected = selectedVersionName(row);
    require(selected == row.at(0) + row.at(1).toUpper(), "the chosen version is named by version and type");
    const QString local = localPackageName(selected, naming);
    require(isPlainFileName(local), "the stored package is a file of its folder");
    require(local.startsWith(QLatin1String("Tavlopc")) && local.endsWith(QLatin1String(".zip")),
            "the stored package has the name of a package");

    const QString server = serverPackageName(row, revision, naming);
    QString expected = QLatin1String("Tavlopc") + selected;
    if (naming.extended)
        expected += naming.osTag + naming.archTag;
    expected += QLatin1String(".zip");
    if (revision < firstRevisionWithBetaNames)
        expected = expected.split(QStringLiteral("BETA")).join(QStringLiteral("STABLE"));
    require(server == expected, "the package on the server is named by version, type and tags");
    if (revision >= firstRevisionWithBetaNames && isPlainFileName(server))
        require(server == local, "a package has one name");
}

void checkAddress(const UpdateServer &server, const QString &packageName)
{
    const QUrl base(server.protocol + QLatin1String("://") + server.host + QLatin1Char('/'));
    for (const PortInAddress rule : {PortInAddress::Always, PortInAddress::IfSet}) {
        const QString address = packageAddress(server, packageName, rule);
        require(address.endsWith(QLatin1String("/update/Tavlopc/windows/") + packageName),
                "the address ends in the package's name");
        require(address.startsWith(server.protocol + QLatin1String("://") + server.host),
                "the address starts with the server");
        const QNetworkRequest request = updateRequest(address, QStringLiteral("26"), QStringLiteral("05"));
        require(request.rawHeader("User-Agent") == "Updater/2605windows", "the updater says who asks");
        // Whatever the server calls its packages, they are asked of that server.
        if (base.isValid() && base.port() < 0 && base.path() == QLatin1String("/") && request.url().isValid()) {
            require(request.url().host() == base.host(), "the package is asked of the server in the settings");
            require(request.url().scheme() == base.scheme(), "the package is asked with the protocol in the settings");
        }
    }
    require(!versionFileAddress(server).isEmpty(), "there is an address of the version description file");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const VersionRow row = {input.text(), input.text(), QString(), QString(), QString()};
    const qint32 revision = input.line().toInt();
    PackageNaming naming;
    naming.extended = input.line() == "true";
    naming.osTag = input.text();
    naming.archTag = input.text();
    // The tags are the updater's own.
    if (isPlainFileName(naming.osTag + naming.archTag))
        checkNames(row, revision, naming);

    UpdateServer server;
    server.protocol = input.text();
    server.host = input.text();
    server.port = input.line().toUInt();
    server.portIsSet = input.line() == "true";
    server.versionFolder = input.text();
    checkAddress(server, serverPackageName(row, revision, naming));
    return 0;
}
