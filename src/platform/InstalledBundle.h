#pragma once

#include <string>

namespace corvana {

// The folder an installed SDK keeps its resource bundle in, found from where the library's code was loaded, so
// that an install moved to another prefix (a package, an app folder) still finds it: "<lib>/../share/corvana"
// beside the shared library, or beside the program that linked the static one. Falls back to the folder the SDK
// was configured to install into when neither holds the bundle (the build tree).
std::string installedBundleFolder();

}  // namespace corvana
