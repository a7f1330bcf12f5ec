#include "Kestrelyne/App/AppInfo.hpp"

namespace kestrelyne::AppInfo {

const std::string& version() {
    static const std::string text = KESTRELYNE_VERSION;
    return text;
}

const std::string& build() {
    static const std::string text = "0";
    return text;
}

const std::string& copyright() {
    static const std::string text = "© Brantholme";
    return text;
}

std::string full() { return "Brantholme " + version() + " (" + build() + ")"; }

}  // namespace kestrelyne::AppInfo
