#include "Television/Masker.h"

#include <exception>
#include <filesystem>

#include "Files.h"
#include "TvFolder.h"

namespace Television {

void Masker::LearnKeys() {
    std::error_code error;
    const std::string folder = TvFolder::Resolve("keys");
    for (auto at = std::filesystem::directory_iterator(folder, error);
         !error && at != std::filesystem::directory_iterator(); at.increment(error)) {
        try {
            Learn(Files::Read(at->path().string()));
        } catch (const std::exception&) {
            continue;  // the service will not read it either
        }
    }
}

Explain::LogLine Masker::MaskLine(Explain::LogLine line) {
    const std::string head = line.Head();
    const bool isService = line.tag == Explain::SERVICE_TAG && !line.file.empty();
    // What only looks like the head of a line may hold anything.
    const bool isHead = line.priority != '\0' && (isService || line.file.empty()) &&
                        head.find_first_of("=\"") == std::string::npos;
    if (isHead) {
        line.message = Mask(line.message, isService ? head.substr(line.headAt) : "");
        line.text = head + line.message;
    } else {
        line.text = Mask(line.text);
        line.message = Mask(line.message);
    }
    return line;
}

std::string Masker::MaskLog(const std::string& log) {
    std::string text;
    Explain::LogForms forms([&](const Explain::LogLine& line) { text += MaskLine(line).text + "\n"; });
    forms.Feed(log);
    forms.Finish();
    return text;
}

}  // namespace Television
