#pragma once
// Why a file could not be read.

#include <stdexcept>

namespace kestrelyne {

/// what() is a German text for people.
class ImportError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace kestrelyne
