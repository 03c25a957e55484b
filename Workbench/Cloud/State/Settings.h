/**
 * What the cloud hands out for a while, each kind with all that is said of it anywhere, and cloud.ini: how
 * long it holds, and the secret that the cloud signs with.
 */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace LocalCloud {

enum class Holding : std::size_t { ACCESS, REFRESH, ACTIVATION, APP, COUNT };

struct HoldingKind {
    Holding holding;
    /** In cloud.ini and on the command line. */
    const char* name;
    /** In tokens.json. */
    const char* list;
    /** In seconds, where cloud.ini does not say otherwise. */
    std::int64_t lifetime;
    const char* noun;
    /** When a client sees that it was made to expire: it believes that it may still use what it holds. */
    const char* shows;
};

inline constexpr std::array<HoldingKind, static_cast<std::size_t>(Holding::COUNT)> HOLDINGS = {{
    {Holding::ACCESS, "access", "access_tokens", 3600, "access token",
     "when a television next activates itself or asks for an application token"},
    {Holding::REFRESH, "refresh", "grants", std::int64_t{30} * 86400, "refresh token",
     "when a television's access token has run out ([lifetime] access in cloud.ini)"},
    {Holding::ACTIVATION, "activation", "activations", std::int64_t{365} * 86400, "activation",
     "when a television next asks for an application token"},
    {Holding::APP, "app", "app_tickets", 86400, "application token", "with a television's next download"},
}};

constexpr const HoldingKind& KindOf(Holding holding) {
    return HOLDINGS[static_cast<std::size_t>(holding)];
}

constexpr bool HoldingsAreInOrder() {
    std::size_t next = 0;
    for (const HoldingKind& kind : HOLDINGS) {
        if (kind.name == nullptr || static_cast<std::size_t>(kind.holding) != next++) {
            return false;
        }
    }
    return true;
}
static_assert(HoldingsAreInOrder(), "each kind has one row, in the order of the enumeration");

/** Reads the file afresh at each call, so that a change takes effect while the server runs. */
class Settings {
public:
    explicit Settings(std::string path) : m_path(std::move(path)) {}

    /** Writes the defaults of what is missing. @throws std::runtime_error */
    void Prepare() const;

    /** In seconds. @throws std::runtime_error that names the file, also for what is no lifetime */
    std::int64_t Lifetime(Holding holding) const;

    /** @throws std::runtime_error */
    std::string SigningSecret() const;

private:
    std::string m_path;
};

}  // namespace LocalCloud
