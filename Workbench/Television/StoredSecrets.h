/** The secrets that a television holds now, read apart from how they are masked, to prove that none is left.
 */
#pragma once

#include <string>
#include <vector>

namespace Television {

/** Tokens of all users, the code and its verifier; those of 8 characters and more. */
std::vector<std::string> StoredSecrets();

/** A record of tokens or activations, all of which have run out; one that cannot be read stays as it is. */
std::string WithEverythingRunOut(const std::string& alias, const std::string& record);

}  // namespace Television
