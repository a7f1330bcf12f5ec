#include "Kestrelyne/Metering/Notifier.hpp"

namespace kestrelyne {

void Notifier::post(const AlarmEvent& event, const std::string& device) const {
    const bool isAlarm = event.isRaise() && event.severity == AlarmSeverity::alarm;
    if (push) push({device, event.text, isAlarm, !event.isRaise()});
    if (!desktop) return;
    const std::string title = !event.isRaise() ? "✅ Behoben – " : isAlarm ? "⚠️ Alarm – " : "Warnung – ";
    desktop({event.id.text(), title + device, event.text});
}

}  // namespace kestrelyne
