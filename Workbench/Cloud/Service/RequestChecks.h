/** What both servers demand of every request. */
#pragma once

#include <httplib.h>

#include <string>
#include <vector>

namespace LocalCloud {

inline constexpr char CLIENT_ID[] = "58hq27rnez";
inline constexpr char PACKAGE_NAME[] = "com.quorlen.tv.bt-orbmanager";
inline constexpr char PACKAGE_VERSION[] = "1.0.0";

struct ExpectedHeader {
    std::string name;
    /** The empty text stands for any value but the empty one. */
    std::string value;
};

/** @return what is wrong with the first header that is not as expected, or the empty text */
std::string FindHeaderFault(const httplib::Request& request, const std::vector<ExpectedHeader>& expected);

/**
 * Checks MODEL;BUILD;bt-orbmanager=1.0.0;Tizen=VERSION and what follows it.
 * @return what is wrong, or the empty text
 */
std::string FindUserAgentFault(const httplib::Request& request, const std::string& tail);

/** Splits at each occurrence; there is always at least one piece. */
std::vector<std::string> Split(const std::string& text, char separator);

}  // namespace LocalCloud
