/** Sends an answer, the way a fault wants it sent where there is one. */
#pragma once

#include <optional>
#include <string>

#include "Cloud/Server/Connection.h"
#include "Cloud/Server/Fault.h"

namespace LocalCloud {

/** @return whether the connection can go on */
bool Deliver(const std::string& answer, const std::optional<Fault>& fault, Connection& connection);

}  // namespace LocalCloud
