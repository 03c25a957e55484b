/** The secrets that a television holds. */
#pragma once

#include <string>
#include <vector>

namespace Television {

/** Tokens of all users, the authorisation code and its verifier; those that are no common words by their
 * length. */
std::vector<std::string> StoredSecrets();

}  // namespace Television
