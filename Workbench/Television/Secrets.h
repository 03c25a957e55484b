/** Keeps tokens, codes and verifiers out of what is shown or leaves the machine. */
#pragma once

#include <string>

namespace Television {

/**
 * A record of the key manager without its secrets: each text that is not known to be harmless is replaced by
 * one that tells its length. A record that cannot be read is replaced whole, since nobody can tell what is in
 * it.
 */
std::string WithoutSecrets(const std::string& alias, const std::string& record);

/** A line of the service's log, with the secrets in it cut to their first characters. */
std::string MaskLogLine(const std::string& line);

}  // namespace Television
