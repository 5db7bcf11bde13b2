#pragma once

// Small POSIX file helpers shared by the Linux services: private folders and whole-file atomic replacement.

#include <optional>
#include <string>

namespace corvana::posix {

// Creates the folder and its missing parents; folders it creates get `mode`. Answers whether the folder exists.
bool makeDirectories(const std::string& path, unsigned mode = 0700);

// Replaces the file's contents as one step: writes a temporary file in the same folder with `mode`, then renames
// it over `path`. Readers see the old contents or the new, never a mix; no temporary file is left behind.
bool writeFileAtomically(const std::string& path, const std::string& contents, unsigned mode = 0600);

// Flushes the file and its folder entry to the disk.
bool syncFile(const std::string& path);

// The whole file, or nothing when it does not exist or cannot be read (`exists` tells the two apart).
std::optional<std::string> readFile(const std::string& path, bool* exists = nullptr);

// The folder part of a path ("." when there is none).
std::string parentDirectory(const std::string& path);

}  // namespace corvana::posix
