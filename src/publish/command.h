#pragma once

/// \file
/// The commands of freshen-publish. Each is one file, NAMEcommand.cpp, that defines one Command.

#include "publish/documentroot.h"
#include "publish/report.h"

#include <QCommandLineParser>

namespace freshen::publish {

/// What a command works with.
struct Context
{
    /// The global options and its own.
    const QCommandLineParser &options;
    /// The arguments, without the command's name.
    QStringList arguments;
    /// The folder that the options name.
    DocumentRoot root;
    /// Nothing is written: the command says what it would do.
    bool isDryRun = false;
    /// Takes what the command tells.
    Report &report;
};

/// One command.
struct Command
{
    /// How it is called.
    const char *name;
    /// What it does, in one line.
    const char *summary;
    /// Its arguments, as the usage shows them, for example "ZIP"; those in brackets may be left out. Their number is
    /// checked before the command runs.
    const char *arguments;
    /// Options besides the global ones.
    QList<QCommandLineOption> (*options)();
    /// Does it.
    ExitCode (*run)(Context &context);
};

///@{
/// The command of that name.
extern const Command checkCommand;
extern const Command checkPackageCommand;
extern const Command packCommand;
extern const Command addCommand;
extern const Command promoteCommand;
extern const Command withdrawCommand;
extern const Command pruneCommand;
extern const Command previewCommand;
extern const Command publishCommand;
extern const Command verifyCommand;
extern const Command serveCommand;
///@}

} // namespace freshen::publish
