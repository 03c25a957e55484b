/** Keeps tokens, codes and verifiers out of what is shown or leaves the machine. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Cli {

/** Its first characters and its length, enough to tell two apart; a secret that is that already stays. */
std::string Abbreviate(const std::string& secret);

/** Masks the value of a name that secrets have, in JSON, XML, a form, a header line or the service's "key :
 * NAME. value : VALUE", and every stored secret wherever it stands. What is masked already stays. */
class Masker {
public:
    /** @param stored those of less than 8 bytes are left out: they would be found in words that are none */
    explicit Masker(std::vector<std::string> stored = {});

    /** @param message a whole one: of a log the lines that belong together, put together again */
    std::string Mask(std::string_view message) const;

    /** A stored secret that stands in the text all the same, maybe as JSON escapes it; empty for none. */
    std::string FindStored(const std::string& text) const;

private:
    std::vector<std::string> m_stored;
};

}  // namespace Cli
