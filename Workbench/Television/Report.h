/** A television to send to somebody else: its folder without secrets, packed by tar. */
#pragma once

#include <string>
#include <vector>

namespace Television {

/**
 * Packs it, with what its local cloud was asked and the versions of what made it beside it. Tokens and
 * activations count as run out in it, so that a run on it asks for new ones.
 * @param name of the one folder in the archive
 * @param leftOut gets a line for each file that could not be read
 * @return the archive's bytes
 * @throws std::runtime_error when a stored secret is still in it
 */
std::string PackReport(const std::string& name, std::vector<std::string>& leftOut);

}  // namespace Television
