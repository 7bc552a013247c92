#pragma once

namespace velmo {

/// Has the libraries that are loaded from now on, Qt's plugins among them, come from the program's folder and the
/// system's alone, whatever lies in the current folder and whatever the environment names. Called before anything else,
/// while there is one thread. Does nothing where the system does not look into the current folder.
void restrictLibrarySearch();

} // namespace velmo
