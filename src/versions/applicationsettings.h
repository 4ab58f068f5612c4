#pragma once

/// \file
/// The settings that the updater shares with the application, and the names under which both keep them.
///
/// The updater only reads the application's store, apart from the list of files to keep. A store is opened where a
/// value is needed and never cached, so that a change made by the application in the meantime is seen.

#include <QSettings>
#include <QString>

namespace freshen {

///@{
/// What a store of settings is opened by: the organisation, and the application that it belongs to.
inline constexpr char organizationName[] = "Q.U.I.N.T.A.";
inline constexpr char applicationStoreName[] = "Tavlo3";
inline constexpr char updaterApplicationName[] = "Tavlo3 Updater";
///@}

/// Names of the settings, as they are stored. All but the last are the application's.
namespace key {
///@{
/// Name of the application's setting for what the name says.
inline constexpr char versionMain[] = "version_main";
inline constexpr char versionMinor[] = "version_minor";
inline constexpr char versionState[] = "version_state";
inline constexpr char useBeta[] = "LoginWindow/useBeta";
inline constexpr char extendedNaming[] = "extendedNaming";
inline constexpr char filesToKeep[] = "Updater/filesToKeep";
inline constexpr char host[] = "host2";
inline constexpr char port[] = "port2";
inline constexpr char protocol[] = "proto2";
inline constexpr char versionFolder[] = "verf";
inline constexpr char proxyType[] = "config/proxy/data/type";
inline constexpr char proxyHost[] = "config/proxy/data/ip";
inline constexpr char proxyPort[] = "config/proxy/data/port";
inline constexpr char proxyUser[] = "config/proxy/data/username";
inline constexpr char proxyPassword[] = "config/proxy/data/password";
///@}
/// In the updater's own store: test builds count as beta versions.
inline constexpr char allowTestBuild[] = "allow_testbuild";
} // namespace key

/// Opens the application's user store in the system's native format (on Windows the registry key
/// `HKEY_CURRENT_USER\Software\Q.U.I.N.T.A.\Tavlo3`).
[[nodiscard]] QSettings applicationSettings();

/// The value under \a name in \a store, or \a fallback where the key is missing.
[[nodiscard]] inline QVariant setting(const QSettings &store, const char *name, const QVariant &fallback = QVariant())
{
    return store.value(QLatin1String(name), fallback);
}

} // namespace freshen
