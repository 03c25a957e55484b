#include "Cli/Errors.h"

#include <filesystem>

namespace Cli {

std::string Reason(const std::exception& error) {
    const auto* file = dynamic_cast<const std::filesystem::filesystem_error*>(&error);
    return file == nullptr ? error.what() : file->path1().string() + ": " + file->code().message();
}

}  // namespace Cli
