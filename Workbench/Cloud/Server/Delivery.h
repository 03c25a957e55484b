/** Sends an answer the way a fault wants it sent. */
#pragma once

#include <string>

#include "Cloud/Server/Connection.h"
#include "Cloud/Server/Fault.h"
#include "Cloud/Server/StopSignal.h"

namespace LocalCloud {

/** @return whether the connection can go on */
bool DeliverWithFault(const Fault& fault, const std::string& answer, Connection& connection,
                      StopSignal& stop);

}  // namespace LocalCloud
