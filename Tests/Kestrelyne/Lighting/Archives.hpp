#pragma once
// ZIP archives made in memory, sound ones and bad ones.

#include <gtest/gtest.h>
#include <zip.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Require.hpp"
#include "Kestrelyne/Lighting/ImportError.hpp"

namespace kestrelyne::testing {

struct ArchiveEntry {
    std::string name, content;
    int method = ZIP_CM_DEFLATE;
    bool encrypted = false;
};

inline std::string archiveOf(const std::vector<ArchiveEntry>& entries) {
    auto* target = zip_source_buffer_create(nullptr, 0, 0, nullptr);
    zip_source_keep(target);
    auto* archive = zip_open_from_source(target, ZIP_TRUNCATE, nullptr);
    KESTRELYNE_REQUIRE(archive != nullptr, "an archive in memory");
    for (const auto& entry : entries) {
        auto* source = zip_source_buffer(archive, entry.content.data(), entry.content.size(), 0);
        const auto index = zip_file_add(archive, entry.name.c_str(), source, ZIP_FL_ENC_UTF_8);
        KESTRELYNE_REQUIRE(index >= 0, "an entry");
        const auto at = static_cast<zip_uint64_t>(index);
        KESTRELYNE_REQUIRE(zip_set_file_compression(archive, at, entry.method, 0) == 0, "a method");
        if (entry.encrypted)
            KESTRELYNE_REQUIRE(zip_file_set_encryption(archive, at, ZIP_EM_AES_256, "geheim") == 0, "an encryption");
    }
    KESTRELYNE_REQUIRE(zip_close(archive) == 0, "a written archive");
    KESTRELYNE_REQUIRE(zip_source_open(target) == 0, "a readable archive");
    zip_stat_t status;
    zip_source_stat(target, &status);
    std::string bytes(status.size, '\0');
    zip_source_read(target, bytes.data(), bytes.size());
    zip_source_close(target);
    zip_source_free(target);
    return bytes;
}

/// Every place; of the same length, as all places in an archive are counted.
inline std::string replaced(std::string bytes, std::string_view old, std::string_view fresh) {
    KESTRELYNE_REQUIRE(old.size() == fresh.size() && bytes.find(old) != std::string::npos, "something to replace");
    for (auto at = bytes.find(old); at != std::string::npos; at = bytes.find(old, at + old.size()))
        bytes.replace(at, old.size(), fresh);
    return bytes;
}

inline std::filesystem::path written(const std::filesystem::path& file, std::string_view bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
    return file;
}

/// What an ImportError of the call says; empty without one.
template <class Call>
std::string failureOf(Call&& call) {
    try {
        call();
    } catch (const ImportError& error) {
        return error.what();
    }
    return {};
}

}  // namespace kestrelyne::testing
