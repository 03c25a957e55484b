/** Sends an answer the way a fault wants it sent. */
#pragma once

#include <string>

#include "Server/Connection.h"
#include "Server/Fault.h"
#include "Server/StopSignal.h"

namespace LocalCloud {

/** @return whether the connection can go on */
bool DeliverWithFault(const Fault& fault, const std::string& answer, Connection& connection,
                      StopSignal& stop);

}  // namespace LocalCloud
