#pragma once

#include <cstdint>

namespace corvana {

// Row limit of the event table: when it is reached, the newest ordinary event is dropped again.
inline constexpr int32_t MAX_CHECKPOINTS_COUNT = 1000;
// Limit of stored sessions.
inline constexpr int32_t MAX_SESSIONS_COUNT = 500;
// Versions of the database schema. The tables are created as they are at every start and never migrated.
inline constexpr int32_t CURRENT_SCHEMA_VERSION = 1;
inline constexpr int32_t NEW_SCHEMA_VERSION = 2;

}  // namespace corvana
