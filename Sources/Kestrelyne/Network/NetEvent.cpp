#include "Kestrelyne/Network/NetEvent.hpp"

namespace kestrelyne {

std::string_view text(NetEvent::Level level) {
    switch (level) {
        case NetEvent::Level::info: return "Info";
        case NetEvent::Level::warning: return "Warnung";
        case NetEvent::Level::alarm: return "Alarm";
    }
    return "Info";
}

std::string_view word(NetEvent::Level level) {
    switch (level) {
        case NetEvent::Level::info: return "info";
        case NetEvent::Level::warning: return "warning";
        case NetEvent::Level::alarm: return "alarm";
    }
    return "info";
}

}  // namespace kestrelyne
