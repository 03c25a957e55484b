/** Sends an answer, the way a fault wants it sent where there is one. */
#pragma once

#include "Cloud/Server/Connection.h"
#include "Cloud/Server/Exchange.h"
#include "Cloud/Server/StopSignal.h"

namespace LocalCloud {

/** @return whether the connection can go on */
bool Deliver(const Exchange& exchange, Connection& connection, StopSignal& stop);

}  // namespace LocalCloud
