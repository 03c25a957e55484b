#include "Util/JsonSyntax.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "Util/CInfoSyncException.h"

namespace InfoSyncUtil {

namespace {

constexpr std::size_t UNICODE_ESCAPE_LENGTH = 6;

constexpr std::array<bool, 256> PLAIN = [] {
    std::array<bool, 256> plain = {};
    for (unsigned char byte = ' '; byte < 0x80U; ++byte) {
        plain[byte] = byte != '"' && byte != '\\';
    }
    return plain;
}();

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsHighSurrogate(unsigned unit) {
    return unit >= 0xD800U && unit <= 0xDBFFU;
}

bool IsLowSurrogate(unsigned unit) {
    return unit >= 0xDC00U && unit <= 0xDFFFU;
}

/** A recursive-descent walk; the text's own terminating NUL stands for its end, since no rule of the grammar
 * takes it. */
class Checker {
public:
    Checker(const std::string& text, int depthLimit)
        : m_text(text), m_at(text.c_str()), m_depthLeft(depthLimit) {}

    JsonFindings Run() {
        SkipBlanks();
        Value();
        SkipBlanks();
        if (Offset() != m_text.size()) {
            Fail("text after the value");
        }
        return std::move(m_findings);
    }

private:
    void Value() {
        switch (*m_at) {
            case '{':
                Object();
                break;
            case '[':
                Array();
                break;
            case '"':
                String();
                break;
            case 't':
                Word("true");
                break;
            case 'f':
                Word("false");
                break;
            case 'n':
                Word("null");
                break;
            default:
                Number();
        }
    }

    void Object() {
        Enter();
        if (*m_at != '}') {
            do {
                SkipBlanks();
                if (*m_at != '"') {
                    Fail("a member's name expected");
                }
                String();
                SkipBlanks();
                Expect(':', "':' expected");
                SkipBlanks();
                Value();
                SkipBlanks();
            } while (Take(','));
        }
        Expect('}', "',' or '}' expected");
        ++m_depthLeft;
    }

    void Array() {
        Enter();
        if (*m_at != ']') {
            do {
                SkipBlanks();
                Value();
                SkipBlanks();
            } while (Take(','));
        }
        Expect(']', "',' or ']' expected");
        ++m_depthLeft;
    }

    /** Steps over an opening bracket and the blanks after it. */
    void Enter() {
        if (m_depthLeft == 0) {
            Fail("nested too deep");
        }
        --m_depthLeft;
        ++m_at;
        SkipBlanks();
    }

    void String() {
        for (m_at = SkipPlain(m_at + 1); *m_at != '"'; m_at = SkipPlain(m_at)) {
            const auto c = static_cast<unsigned char>(*m_at);
            if (c < 0x20U) {
                Fail(c == 0 && Offset() == m_text.size() ? "a text without its end"
                                                         : "a bare control character");
            }
            if (c == '\\') {
                Escape();
                continue;
            }
            m_findings.nonAscii = true;
            ++m_at;
        }
        ++m_at;
    }

    void Escape() {
        if (m_at[1] == 'u') {
            UnicodeEscape();
            return;
        }
        if (m_at[1] == '\0' || std::strchr("\"\\/bfnrt", m_at[1]) == nullptr) {
            Fail("an unknown escape");
        }
        m_at += 2;
    }

    void UnicodeEscape() {
        const std::size_t offset = Offset();
        const unsigned unit = CodeUnit();
        if (IsHighSurrogate(unit) && m_at[0] == '\\' && m_at[1] == 'u') {
            const char* next = m_at;
            if (IsLowSurrogate(CodeUnit())) {
                return;
            }
            m_at = next;
        }
        if (IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
            m_findings.loneSurrogates.push_back(offset);
        }
    }

    /** Reads one \uXXXX. */
    unsigned CodeUnit() {
        unsigned unit = 0;
        for (std::size_t i = 2; i < UNICODE_ESCAPE_LENGTH; ++i) {
            const char* digits = "0123456789abcdef";
            const char lower =
                static_cast<char>(m_at[i] >= 'A' && m_at[i] <= 'F' ? m_at[i] - 'A' + 'a' : m_at[i]);
            const char* digit = lower == '\0' ? nullptr : std::strchr(digits, lower);
            if (digit == nullptr) {
                Fail("four hexadecimal digits expected");
            }
            unit = unit * 16U + static_cast<unsigned>(digit - digits);
        }
        m_at += UNICODE_ESCAPE_LENGTH;
        return unit;
    }

    void Number() {
        Take('-');
        if (!Take('0')) {
            Digits("a value expected");
        }
        if (Take('.')) {
            Digits("a digit expected");
        }
        if (Take('e') || Take('E')) {
            if (!Take('+')) {
                Take('-');
            }
            Digits("a digit expected");
        }
    }

    void Digits(const char* complaint) {
        if (!IsDigit(*m_at)) {
            Fail(complaint);
        }
        while (IsDigit(*m_at)) {
            ++m_at;
        }
    }

    void Word(const char* word) {
        const std::size_t length = std::strlen(word);
        if (std::strncmp(m_at, word, length) != 0) {
            Fail("a value expected");
        }
        m_at += length;
    }

    void SkipBlanks() {
        while (*m_at == ' ' || *m_at == '\n' || *m_at == '\r' || *m_at == '\t') {
            ++m_at;
        }
    }

    bool Take(char c) {
        if (*m_at != c) {
            return false;
        }
        ++m_at;
        return true;
    }

    void Expect(char c, const char* complaint) {
        if (!Take(c)) {
            Fail(complaint);
        }
    }

    std::size_t Offset() const {
        return static_cast<std::size_t>(m_at - m_text.c_str());
    }

    [[noreturn]] void Fail(const std::string& complaint) const {
        const auto begin = m_text.begin();
        const auto at = begin + static_cast<std::ptrdiff_t>(Offset());
        const auto line = std::count(begin, at, '\n') + 1;
        const auto lineBegin = std::find(std::make_reverse_iterator(at), m_text.rend(), '\n').base();
        throw CInfoSyncException("fail to parse JSON: " + complaint + " at line " + std::to_string(line) +
                                 ", column " + std::to_string(at - lineBegin + 1));
    }

    const std::string& m_text;
    const char* m_at;
    int m_depthLeft;
    JsonFindings m_findings;
};

}  // namespace

const char* SkipPlain(const char* text) {
    while (PLAIN[static_cast<unsigned char>(*text)]) {
        ++text;
    }
    return text;
}

JsonFindings CheckJsonSyntax(const std::string& text, int depthLimit) {
    return Checker(text, depthLimit).Run();
}

}  // namespace InfoSyncUtil
