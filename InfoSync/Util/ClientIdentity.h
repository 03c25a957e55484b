/** How this package introduces itself to the servers. */
#pragma once

namespace ClientIdentity {

/** The OAuth 2.0 client id; the cloud calls the same value the app id. */
inline constexpr char OAUTH_CLIENT_ID[] = "58hq27rnez";
inline constexpr char PACKAGE_NAME[] = "com.quorlen.tv.bt-orbmanager";
inline constexpr char PACKAGE_VERSION[] = "1.0.0";

}  // namespace ClientIdentity
