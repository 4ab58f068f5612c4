#pragma once

/// \file
/// Where the update server is and how it is asked. The server publishes one version description file for each platform
/// and, beside it, the packages; both are fetched with a plain GET.

#include <QNetworkRequest>
#include <QString>

#include <optional>

class QNetworkReply;
class QSettings;

namespace freshen {

/// Name of the platform on the server: the version description file, the folder of the packages, and the last piece of
/// the "User-Agent" value.
inline constexpr char platformName[] = "windows";

/// The update server as the application's settings describe it.
struct UpdateServer
{
    /// Scheme of the addresses, "https" or "http".
    QString protocol;
    /// Name or address of the server.
    QString host;
    /// TCP port.
    uint port = 0;
    /// The settings name a port; without one, \c port is the default.
    bool portIsSet = false;
    /// Folder on the server that holds the version description file.
    QString versionFolder;
};

/// Path on the server of the version description file in the folder \a versionFolder.
[[nodiscard]] QString versionFilePath(const QString &versionFolder);

/// Path on the server of the package \a packageName.
[[nodiscard]] QString packagePath(const QString &packageName);

/// Reads the server from \a store, the application's settings. Missing values take the deployment's defaults.
[[nodiscard]] UpdateServer readUpdateServer(const QSettings &store);

/// Address of the version description file. It names the port even where it is the protocol's own.
[[nodiscard]] QString versionFileAddress(const UpdateServer &server);

/// Whether the address of a package names the server's port.
enum class PortInAddress {
    Always,
    /// Only where the settings name one; otherwise the protocol's own port holds.
    IfSet,
};

/// Address of the package that the server stores as \a packageName.
[[nodiscard]] QString packageAddress(const UpdateServer &server, const QString &packageName, PortInAddress portRule);

/// The request for \a address. Redirects are followed unless they lead from https to http. An
/// invalid address, for example with a port above 65535, is logged and its request fails. \a versionMain and
/// \a versionMinor, the installed application's version, go into the "User-Agent" header (RFC 9110, 10.1.5).
[[nodiscard]] QNetworkRequest updateRequest(const QString &address, const QString &versionMain,
                                            const QString &versionMinor);

/// Number of bytes that the body of \a reply has by its "Content-Length" (RFC 9110, 8.6). Nothing where the server told
/// none, or where the body is unpacked as it comes.
[[nodiscard]] std::optional<qint64> announcedLength(const QNetworkReply &reply);

/// Why \a reply, which has ended and of which nothing was read yet, is no whole answer; nothing where it is one. A body
/// shorter than announced is a failure even where the reply has no error: the library overlooks the end of a connection
/// at the wrong moment.
[[nodiscard]] std::optional<QString> failureOf(const QNetworkReply &reply);

} // namespace freshen
