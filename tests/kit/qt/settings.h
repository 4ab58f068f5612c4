#pragma once

#include <QVariantMap>

/// The stores that the program reads, as a test fills them. The names of stores and keys are written out here and in
/// the tests as the application stores them, not taken from the program.

/// Makes sure that this process has a home of its own, as the functions below do, too. CTest gives one to every test
/// and says so by the variable FRESHEN_TEST_HOME; a test that is started by hand gets one that is removed at its end,
/// or is ended on Windows.
void requirePrivateHome();

/// Empties the application's store and the updater's own.
void clearSettings();

/// Adds \a values to the user store of \a application.
void writeSettings(const QVariantMap &values, const char *application = "Tavlo3");
