#pragma once

/// \file
/// What is settled before the application object is made: which folders code comes from, and how texts in the 8-bit
/// code page are read.

namespace freshen {

/// Forgets the folders for plug-ins that the environment names. The updater's own folder is left.
void ignoreForeignPlugins();

/// Takes the current folder and the folders of PATH out of the places that libraries are loaded from. The updater's own
/// folder and the system's are left. Windows 7 without its updates cannot leave out PATH; other systems know no such
/// places.
void ignoreForeignLibraries();

/// Has Qt convert texts in the process's 8-bit code page by its own codec where that page is UTF-8, since the calls of
/// the system's that Qt makes otherwise are not documented to work for it.
void adoptCodePage();

} // namespace freshen
