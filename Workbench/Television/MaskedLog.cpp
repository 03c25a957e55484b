#include "Television/MaskedLog.h"

namespace Television {

std::string MaskedText(const LogLine& line, Masker& masker) {
    const std::string head = line.text.substr(0, line.messageAt);
    return head + masker.Mask(line.Message(), line.file.empty() ? "" : head.substr(line.headAt));
}

std::string MaskedLog(const std::string& log, Masker& masker) {
    std::string text;
    LogReader reader([&](const LogLine& line) { text += MaskedText(line, masker) + "\n"; });
    reader.Feed(log);
    reader.Finish();
    return text;
}

}  // namespace Television
