#pragma once
// The stored settings of the network side.

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Kestrelyne/Network/NetDevice.hpp"

namespace kestrelyne {

/// What an adapter is for. A wrongly given task never silences a service: see Adapters.
enum class AdapterRole { all, lighting, management, power, audio };
/// "Alles", "Licht (Art-Net, sACN, MA-Net, RDM)", …: shown, and the stored form.
std::string_view text(AdapterRole role);
/// `all` for a text that is none of them.
AdapterRole adapterRole(std::string_view text);
/// "all", "lighting", "management", "power", "audio": what is typed on a command line; absent for another word.
std::optional<AdapterRole> adapterRoleOfWord(std::string_view word);

/// The defaults are those of a new store and of a key that a stored one lacks.
struct NetConfig {
    std::vector<NetDevice> devices;                // watched
    std::vector<std::string> interfaces;           // device names of the adapters in use; empty: all that are not point-to-point
    double pingInterval = 1.0;                     // s
    int offlineAfter = 2;                          // failed pings in a row until a device counts as offline
    bool liveDefaults = true;                      // the shorter default intervals were applied
    double snmpInterval = 15.0;                    // s
    double artPollInterval = 3.0;                  // s
    std::string sacnUniverses = "1-16";            // whose groups are joined
    double tempLimit = 70.0;                       // °C, of a switch
    double upsRuntimeLimit = 10.0;                 // min
    double upsLoadLimit = 90.0;                    // %
    bool notify = true;                            // alarms are sent as notices too
    bool autoStart = false;                        // watch from the start of the program
    std::map<std::string, std::string> knownMACs;  // approved hardware addresses, upper case
    bool alarmNewDevices = false;
    bool artnetSubscribe = false;                        // answer ArtPoll as a visualiser
    std::map<std::string, std::string> interfaceRoles;   // device name to the text of its role
    std::map<std::string, std::string> interfaceLabels;  // device name to what the user calls it

    bool operator==(const NetConfig&) const = default;

    /// The universes that `sacnUniverses` names: "1-16, 20" and the like, within 1…63999; pieces that say nothing are left out.
    std::set<int> sacnUniverseSet() const;
};

/// Settings from before the shorter intervals get them. Of several devices with one id the first counts.
/// Throws base::DecodeError when it is no such object, or a key that has no leave to be wrong has a value of the wrong type.
NetConfig decodeNetConfig(std::string_view bytes);
std::string encodeNetConfig(const NetConfig& config);

/// Changes one field by its stored name, from text as it is typed. Throws std::invalid_argument with a German sentence for an
/// unknown field, for one with its own verbs (devices, knownMACs, interface…) and for a value that does not fit; nothing is changed
/// then.
void setNetField(NetConfig& config, const std::string& field, const std::string& value);
/// Names and present values of the fields that setNetField changes, in the order of the struct.
std::vector<std::pair<std::string, std::string>> netFields(const NetConfig& config);

}  // namespace kestrelyne
