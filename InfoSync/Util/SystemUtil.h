/** Facts about the television, asked of the platform at each call. Each throws CInfoSyncException when there
 * is no value. */
#pragma once

#include <string>

class IHttpMessage;

namespace SystemUtil {

/** key: one of the platform's numeric system-information keys. */
std::string GetSystemInfoString(int key);

/** key: one of the platform's feature keys. */
std::string GetPlatformInfoString(const std::string& key);

std::string GetTizenVersion();
std::string GetModelName();
std::string GetBuildVersion();
std::string GetTizenID();

/**
 * Adds the entries "model", "build", "client" and "platfom" that every cloud request carries. Entries that
 * were added before a failure stay.
 */
void AddClientIdentity(IHttpMessage& message);

}  // namespace SystemUtil
