#pragma once

#include <QVariant>

/// The stores that the program reads, as a test fills them. The names of stores and keys are written out here and in
/// the tests as the application stores them, not taken from the program.
///
/// Every function first makes sure that the process does not run in a user's real home, and ends the process if it
/// does.

/// Makes sure that the process runs in a home of its own, and ends it otherwise. CTest gives one to every test
/// (variable FRESHEN_TEST_HOME); a test that is started by hand, as in a debugger, gets one that is removed at its end.
void requirePrivateHome();

/// Empties the application's store and the updater's own.
void clearSettings();

/// Stores \a value under \a key in the application's user store.
void writeSetting(const char *key, const QVariant &value);

/// What the application's user store holds under \a key; invalid where there is nothing.
[[nodiscard]] QVariant readSetting(const char *key);

/// Stores \a value under \a key in the updater's own user store.
void writeUpdaterSetting(const char *key, const QVariant &value);
