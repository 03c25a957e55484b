#include <glib.h>

#include <utility>

#include "Cli/Tool.h"

namespace Cli {

void Arguments::Add(const std::string& option, const std::string& value) {
    m_options[option].push_back(value);
}

void Arguments::SetOperands(std::vector<std::string> operands) {
    m_operands = std::move(operands);
}

bool Arguments::Has(const std::string& option) const {
    return m_options.count(option) > 0;
}

std::string Arguments::Value(const std::string& option, const std::string& fallback) const {
    const auto found = m_options.find(option);
    return found == m_options.end() ? fallback : found->second.back();
}

std::vector<std::string> Arguments::Values(const std::string& option) const {
    const auto found = m_options.find(option);
    return found == m_options.end() ? std::vector<std::string>() : found->second;
}

std::int64_t Arguments::Number(const std::string& option, std::int64_t fallback, std::int64_t least,
                               std::int64_t most) const {
    if (!Has(option)) {
        return fallback;
    }
    constexpr guint DECIMAL = 10;
    gint64 number = 0;
    GError* error = nullptr;
    if (g_ascii_string_to_signed(Value(option).c_str(), DECIMAL, least, most, &number, &error) == FALSE) {
        const std::string reason = error->message;
        g_error_free(error);
        throw UsageError("--" + option + ": " + reason);
    }
    return number;
}

std::string Arguments::Operand(std::size_t index) const {
    return index < m_operands.size() ? m_operands[index] : std::string();
}

}  // namespace Cli
