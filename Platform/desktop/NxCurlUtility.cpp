#include <NxCurl.h>
#include <glib.h>

namespace NxCurlUtility {

namespace {

/** Percent-encoding (RFC 3986) of every byte that is not unreserved. */
std::string Escaped(const std::string& text) {
    const auto* bytes = reinterpret_cast<const guint8*>(text.data());
    const std::unique_ptr<char, decltype(&g_free)> escaped(g_uri_escape_bytes(bytes, text.size(), nullptr),
                                                           &g_free);
    return escaped.get();
}

}  // namespace

std::string makeUri(const std::string& base, const std::string& query) {
    return query.empty() ? base : base + "?" + query;
}

void makeQueryString(std::string& query, const std::string& name, const std::string& value) {
    query += (query.empty() ? "" : "&") + Escaped(name) + "=" + Escaped(value);
}

bool checkIsHttps(const std::string& url) {
    return g_ascii_strncasecmp(url.c_str(), "https://", 8) == 0;
}

}  // namespace NxCurlUtility
