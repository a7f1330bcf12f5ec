#include "Support/TemporaryFolder.hpp"

#include <stdlib.h>

#include "Base/Require.hpp"

TemporaryFolder::TemporaryFolder() {
    auto name = (std::filesystem::temp_directory_path() / "kestrelyne-test-XXXXXX").string();
    KESTRELYNE_REQUIRE(mkdtemp(name.data()) != nullptr, "no temporary folder");
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}
