#pragma once

// The keys of every value the SDK keeps in the preferences store. No other file spells them.
// Most carry the "crvn." prefix; the install identifier and the entity tag read for requests do not.
// "crvn.AcountBlocked" is spelled so on purpose, and the entity tag is written under "crvn.Etag" but read
// under "LorrowETag": existing installations depend on both.

namespace corvana {

inline constexpr const char* kKeyDeviceName = "crvn.DeviceName";        // string
inline constexpr const char* kKeyTestDevice = "crvn.TestDevice";        // boolean
inline constexpr const char* kKeyInstallDate = "crvn.InstallDate";      // string, "yyyy-MM-dd"
inline constexpr const char* kKeySyncTimeout = "crvn.SyncTimeout";      // number of seconds, as received
inline constexpr const char* kKeyAppBlockUntil = "crvn.AppBlockUntil";  // string, "MMM dd, yyyy 'at' hh:mm a"
inline constexpr const char* kKeySecureToken = "crvn.secureToken";      // data: archived security signature
inline constexpr const char* kKeySecureMode = "crvn.secureMode";        // boolean
inline constexpr const char* kKeyFrameworkType = "crvn.FrameworkType";  // string
inline constexpr const char* kKeyAppVersion = "crvn.AppVersion";        // string
inline constexpr const char* kKeyAppSecret = "crvn.AppSecret";          // string
inline constexpr const char* kKeyQuorvel = "crvn.Quorvel";              // string, the account identifier
inline constexpr const char* kKeyLastUpdate = "crvn.LastUpdate";        // date
inline constexpr const char* kKeyLst = "crvn.Lst";                      // double
inline constexpr const char* kKeyToken = "crvn.Token";                  // string, lower-case hexadecimal
inline constexpr const char* kKeyLastReport = "crvn.LastReport";        // date
inline constexpr const char* kKeyEtag = "crvn.Etag";                    // string, written after a sync
inline constexpr const char* kKeyNewUser = "crvn.NewUser";              // boolean
inline constexpr const char* kKeyAcountBlocked = "crvn.AcountBlocked";  // boolean
inline constexpr const char* kKeyInitReport = "crvn.InitReport";        // boolean
inline constexpr const char* kKeyLorrowAppID = "kLorrowAppIDDefaultsKey";  // string, the install identifier
inline constexpr const char* kKeyLorrowETag = "LorrowETag";             // string, sent as "If-None-Match"

}  // namespace corvana
