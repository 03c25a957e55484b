/** The grammar of JSON, which the library's reader takes more loosely than RFC 8259 does. */
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace InfoSyncUtil {

/** What a well-formed text holds that the library's reader has to be spared. */
struct JsonFindings {
    bool nonAscii = false;
    /** Offsets of the \uXXXX escapes that are one half of a surrogate pair without the other. */
    std::vector<std::size_t> loneSurrogates;
};

/**
 * The first byte from here on that cannot simply be taken over into or out of a text in quotes: anything but
 * printable ASCII, a quote and a backslash. What is passed must end with a NUL, which is such a byte.
 */
const char* SkipPlain(const char* text);

/**
 * Checks that the text is one JSON value and nothing else, nested at most depthLimit levels deep.
 * @throws CInfoSyncException "fail to parse JSON: ..." with the line and column of the fault
 */
JsonFindings CheckJsonSyntax(const std::string& text, int depthLimit);

}  // namespace InfoSyncUtil
