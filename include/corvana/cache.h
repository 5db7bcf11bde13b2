#pragma once

#include <string>

#include "corvana/export.h"

namespace corvana {

// The folder in which the SDK keeps the downloaded images of in-app campaigns: the application's caches
// directory as the platform answers it, taken once when the resource cache is first used. The files lie
// directly in it, named "<campaign id>_<last component of the image's URI>".
CORVANA_EXPORT const std::string& cacheDir();

}  // namespace corvana
