#include "NetCore/RDMUID.hpp"

#include <fmt/format.h>

namespace netcore::RDM {

std::string UID::text() const { return fmt::format("{:04X}:{:08X}", manufacturer, device); }

}  // namespace netcore::RDM
