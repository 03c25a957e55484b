#include "Cli/Json.h"

namespace Cli {

std::string JsonText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["precision"] = 15;  // as many digits as a number survives with: 0.241, not 0.24099999999999999
    return Json::writeString(builder, value) + "\n";
}

}  // namespace Cli
