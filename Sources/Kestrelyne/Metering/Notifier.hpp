#pragma once
// Where an alarm goes beyond its meter's log: push, desktop notice, sound and the record of the deployment.

#include <functional>
#include <string>
#include <string_view>

#include "Kestrelyne/Metering/AlarmRule.hpp"

namespace kestrelyne {

/// Hands alarm events on. Every end is a function that may be empty: an end that does not exist is left out. Main thread; nothing
/// waits.
class Notifier {
public:
    struct PushMessage {
        std::string title;  // the meter's name
        std::string body;
        bool isAlarm;    // a coming of severity alarm
        bool isCleared;  // an ending
    };
    struct DesktopNotice {
        std::string identifier;  // the event's id
        std::string title;
        std::string body;
    };

    /// The push channels; returns at once.
    std::function<void(PushMessage)> push;
    /// Set only where a desktop takes notices.
    std::function<void(DesktopNotice)> desktop;

    /// Push first, always; then the desktop.
    void post(const AlarmEvent& event, const std::string& device) const;
};

/// Everything that hears of a logged alarm event. Owned by the application, outlives the engines.
struct AlarmOutlets {
    Notifier notifier;
    /// The record of the deployment: source, level ("Info", "Warnung", "Alarm"), text.
    std::function<void(const std::string& source, std::string_view level, const std::string& text)> record;
    /// "Sosumi" for severity alarm, "Funk" for warning; empty where there are no such sounds.
    std::function<void(std::string_view name)> sound;
};

}  // namespace kestrelyne
