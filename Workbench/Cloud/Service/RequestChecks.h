/** What both servers demand of every request. */
#pragma once

#include <httplib.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace LocalCloud {

inline constexpr char CLIENT_ID[] = "58hq27rnez";
inline constexpr char PACKAGE_NAME[] = "com.quorlen.tv.bt-orbmanager";
inline constexpr char PACKAGE_VERSION[] = "1.0.0";

/** Thrown when a request is refused; the error is what the protocol has for it. */
template <typename Error>
class Refused : public std::runtime_error {
public:
    Refused(Error error, const std::string& message) : std::runtime_error(message), m_error(error) {}

    Error Code() const {
        return m_error;
    }

private:
    Error m_error;
};

template <typename Error>
void Require(bool condition, Error error, const std::string& message) {
    if (!condition) {
        throw Refused<Error>(error, message);
    }
}

/**
 * @param expected names and values; the empty value stands for any other
 * @return what is wrong with the first header that is not as expected, or the empty text
 */
std::string FindHeaderFault(const httplib::Request& request,
                            const std::vector<std::pair<std::string, std::string>>& expected);

/** Splits at each occurrence; there is always at least one piece. */
std::vector<std::string> Split(const std::string& text, char separator);

}  // namespace LocalCloud
