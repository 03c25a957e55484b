#include <gmock/gmock.h>

#include "Cli/Masker.h"
#include "Rows.h"

using Cli::Masker;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string SECRET = "Zq9xSecretSecretSecret";

std::string WithSecret(const std::string& text) {
    return Replaced(text, "SECRET", SECRET);
}

}  // namespace

TEST(Masker, MasksTheValueOfASecretsNameInEveryForm) {
    for (const auto& [message] : Rows<1>("tables.txt", "a message with a secret", "SECRET", SECRET)) {
        const std::string masked = Masker().Mask(message);
        EXPECT_THAT(masked, Not(HasSubstr("Secret"))) << message;
        EXPECT_EQ(Masker().Mask(masked), masked);
        // A mail may break a line behind the colon: the blank is gone when the pieces are put together.
        const std::size_t first = message.find(':') == std::string::npos ? message.size() : 0;
        for (auto at = message.find(' ', first); at != std::string::npos; at = message.find(' ', at + 1)) {
            const std::string broken = message.substr(0, at) + message.substr(at + 1);
            EXPECT_THAT(Masker().Mask(broken), Not(HasSubstr("Secret"))) << broken;
        }
    }
    EXPECT_EQ(Masker().Mask(R"({"accessToken":1234567,"scope":"x"})"),
              R"({"accessToken":... (7 characters),"scope":"x"})");
    EXPECT_EQ(Masker().Mask(WithSecret("a=1&access_token=SECRET&b=2")),
              "a=1&access_token=Zq9x... (22 characters)&b=2");
}

TEST(Masker, LeavesWhatIsNoSecret) {
    for (const auto& [message] : Rows<1>("tables.txt", "a message without a secret")) {
        EXPECT_EQ(Masker().Mask(message), message);
    }
}

TEST(Masker, MasksWhatIsStoredWhereverItStands) {
    const Masker masker({SECRET, SECRET + "99", "short"});
    EXPECT_EQ(masker.Mask(WithSecret("it was SECRET.")), "it was Zq9x... (22 characters).");
    EXPECT_EQ(masker.Mask(WithSecret("SECRET99SECRET")), "Zq9x... (24 characters)Zq9x... (22 characters)");
    EXPECT_EQ(masker.Mask(WithSecret("accessToken : SECRET")), "accessToken : Zq9x... (22 characters)");
    EXPECT_EQ(masker.Mask("a short text"), "a short text");
}

TEST(Masker, TakesNoLongerForATextThatIsMadeToTakeLong) {
    for (const std::string piece : {"\\", R"("access_token":")", "<auth_code>", "<auth_code ", "key : code. ",
                                    "code=", "Bearer ", R"({"accessToken":[)", R"("access_token")", " "}) {
        std::string text;
        while (text.size() < 2'000'000) {
            text += piece;
        }
        EXPECT_FALSE(Masker().Mask(text).empty());
    }
    // A long value is not let through for being long.
    const std::string secret(2'000'000, 'x');
    for (const std::string start :
         {R"({"access_token":")", "<auth_code>", "key : code, value : ", "Authorization: "}) {
        EXPECT_EQ(Masker().Mask(start + secret), start + "xxxx... (2000000 characters)");
    }
}
