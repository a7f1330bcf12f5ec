#pragma once
// The verbs of the control socket that concern fixtures with Remote Device Management.

#include "Kestrelyne/App/ControlServer.hpp"
#include "Kestrelyne/Lighting/RDMScanner.hpp"

namespace kestrelyne {

/// A device is named by "uid" ("7FF0:0000ABCD"); a write that fails is an error with the scanner's text.
///   rdm.scan                               starts a scan, and answers at once
///   rdm.list                               the answer of rdmState()
///   rdm.sensors                            the same after all sensors were read
///   rdm.write      "on"                    allows writing, or locks it
///   rdm.show       "uid"                   the answer of rdmDeviceState() as "device", with what its settings show
///   rdm.identify   "uid", "on"             these answer "device" as it is now, null when it is not listed any more;
///   rdm.address    "uid", "address"        and "overlaps", the names of those in the way
///   rdm.mode       "uid", "number"
///   rdm.label      "uid", "text"
///   rdm.lamp       "uid", "state"
///   rdm.reset      "uid", "cold"
///   rdm.sequential "uids", "start", "gap", "dryRun"   "plan" ("uid", "name", "first", "last", "fits"), "overlaps", and, when it
///   was
///                                          carried out, "report": a line for each device that was not written
/// What is given outlives the server.
void addRDMVerbs(ControlServer& server, RDMScanner& scanner);

}  // namespace kestrelyne
