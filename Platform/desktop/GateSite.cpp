#include "GateSite.h"

#include <glib.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "TvFolder.h"
#include "TvIni.h"

GateSite GateSite::Parse(const std::string& text) {
    std::string origin = text;
    if (!origin.empty() && origin.back() == '/') {
        origin.pop_back();
    }
    // The scheme comes out in lower case; what an origin lacks comes out as null, an empty path as "".
    const std::unique_ptr<GUri, decltype(&g_uri_unref)> uri(
        g_uri_parse(origin.c_str(), G_URI_FLAGS_NONE, nullptr), &g_uri_unref);
    if (!uri || std::string_view(g_uri_get_scheme(uri.get())) != "https" ||
        g_uri_get_host(uri.get()) == nullptr || *g_uri_get_host(uri.get()) == '\0' ||
        std::strpbrk(g_uri_get_host(uri.get()), " \t\r\n") != nullptr || *g_uri_get_path(uri.get()) != '\0' ||
        g_uri_get_userinfo(uri.get()) != nullptr || g_uri_get_query(uri.get()) != nullptr ||
        g_uri_get_fragment(uri.get()) != nullptr) {
        throw std::runtime_error("“" + text + "” is not an https origin such as https://auth.example:443");
    }
    return {origin, g_uri_get_host(uri.get())};
}

GateSite GateSite::Read() {
    try {
        return Parse(TvFolder::ReadIni()->Text(TvKeys::GATE_SITE).value_or(""));
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(TvFolder::IniPath() + ": [http] gate_site: " + error.what());
    }
}
