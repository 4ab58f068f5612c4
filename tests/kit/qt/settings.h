#pragma once

#include <QVariant>

/// The stores that the program reads, as a test fills them. The names of stores and keys are written out here and in
/// the tests as the application stores them, not taken from the program.
///
/// All of these functions keep off the user's own settings by requirePrivateHome().

/// Makes sure that this process has a home of its own. CTest gives one to every test and says so by the variable
/// FRESHEN_TEST_HOME; a test that is started by hand gets one that is removed at its end, or is ended on Windows.
void requirePrivateHome();

/// Empties the application's store and the updater's own.
void clearSettings();

///@{
/// The value under \a key in the user store of \a application; invalid where there is none.
void writeSetting(const char *key, const QVariant &value, const char *application = "Tavlo3");
[[nodiscard]] QVariant readSetting(const char *key, const char *application = "Tavlo3");
///@}
