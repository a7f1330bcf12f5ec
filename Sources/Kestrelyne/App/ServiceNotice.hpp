#pragma once

namespace kestrelyne {

/// Tells the service manager (sd_notify(3)): "READY=1", "STOPPING=1" … Without one, nothing happens.
void tellServiceManager(const char* state);

}  // namespace kestrelyne
