#include "Kestrelyne/App/ServiceNotice.hpp"

#include <systemd/sd-daemon.h>

namespace kestrelyne {

void tellServiceManager(const char* state) { sd_notify(0, state); }

}  // namespace kestrelyne
