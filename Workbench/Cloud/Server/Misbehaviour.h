/** What each kind of fault does. */
#pragma once

#include <optional>
#include <string>

#include "Cloud/Server/Connection.h"
#include "Cloud/Server/Tls.h"
#include "Cloud/State/Faults.h"

namespace LocalCloud {

/** The session that an accepted socket is served with; null where the fault does without one, and the socket
 * is done with. */
SslSession BeginSession(const TlsContexts& tls, int socket, const std::optional<Fault>& fault);

/** Sends the answer, the way a fault wants it sent where there is one. @return whether the connection can go
 * on */
bool Deliver(Connection& connection, const std::string& answer, const std::optional<Fault>& fault);

}  // namespace LocalCloud
