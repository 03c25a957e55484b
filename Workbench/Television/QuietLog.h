/**
 * The service's code and the platform's stand-ins are asked here, not run: what they would log says nothing
 * to whoever asked, but for why a request failed.
 */
#pragma once

#include <string>

namespace Television {

/** The last error that the HTTP client told; empty when there was none. */
std::string LastHttpError();

}  // namespace Television
