#include "Kestrelyne/Lighting/ZipArchive.hpp"

#include <fmt/format.h>
#include <zip.h>

#include <algorithm>
#include <utility>

#include "Base/Text.hpp"
#include "Kestrelyne/Lighting/ImportError.hpp"

namespace kestrelyne {

namespace {

constexpr std::size_t megabyte = 1u << 20;

[[noreturn]] void noArchive(const std::string& name) { throw ImportError(name + " ist kein gültiges ZIP-Archiv."); }

std::string sizeText(std::size_t bytes) {
    return bytes >= megabyte ? fmt::format("{} MB", bytes / megabyte) : fmt::format("{} Bytes", bytes);
}

std::size_t depth(std::string_view name) { return static_cast<std::size_t>(std::ranges::count(name, '/')); }

// No folder, and no name that leads out of the archive.
bool isFile(std::string_view name) {
    if (name.empty() || name.back() == '/') return false;
    const auto parts = base::split(name, '/', true);
    return std::ranges::find(parts, "..") == parts.end();
}

}  // namespace

void ZipArchive::Closer::operator()(zip* archive) const { zip_discard(archive); }

ZipArchive::~ZipArchive() = default;

ZipArchive::ZipArchive(const std::filesystem::path& file, Limits limits) : name_(file.filename().string()), limits_(limits) {
    std::error_code failure;
    // A pipe would block, and the library takes an empty file for an empty archive.
    const bool regular = std::filesystem::is_regular_file(file, failure);
    const auto size = regular ? std::filesystem::file_size(file, failure) : 0;
    if (!regular || failure) throw ImportError(name_ + " kann nicht gelesen werden.");
    if (size == 0) noArchive(name_);
    int code = 0;
    archive_.reset(zip_open(file.c_str(), ZIP_RDONLY, &code));
    if (!archive_ && (code == ZIP_ER_OPEN || code == ZIP_ER_READ)) throw ImportError(name_ + " kann nicht gelesen werden.");
    if (!archive_) noArchive(name_);
    list();
}

ZipArchive::ZipArchive(std::string bytes, std::string name, Limits limits)
    : name_(std::move(name)), limits_(limits), bytes_(std::make_unique<std::string>(std::move(bytes))) {
    if (bytes_->empty()) noArchive(name_);
    auto* source = zip_source_buffer_create(bytes_->data(), bytes_->size(), 0, nullptr);
    if (source == nullptr) noArchive(name_);
    archive_.reset(zip_open_from_source(source, ZIP_RDONLY, nullptr));
    if (!archive_) {
        zip_source_free(source);
        noArchive(name_);
    }
    list();
}

void ZipArchive::list() {
    const auto count = static_cast<std::size_t>(std::max<zip_int64_t>(zip_get_num_entries(archive_.get(), 0), 0));
    if (count > limits_.entries) throw ImportError(fmt::format("{} enthält mehr als {} Dateien.", name_, limits_.entries));
    std::size_t unpacked = 0;
    entries_.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        zip_stat_t status;
        if (zip_stat_index(archive_.get(), index, 0, &status) != 0 || status.name == nullptr) continue;
        const std::size_t size = (status.valid & ZIP_STAT_SIZE) != 0 ? status.size : 0;
        if (size > limits_.unpacked - unpacked)
            throw ImportError(fmt::format("{} ist entpackt größer als {}.", name_, sizeText(limits_.unpacked)));
        unpacked += size;
        std::string name = base::repairUTF8(status.name);
        std::ranges::replace(name, '\\', '/');
        if (!isFile(name)) continue;
        std::string lower = base::lowerASCII(name);
        const auto at = entries_.size();
        byName_[name] = byLower_[lower] = at;
        const auto inside = lower.substr(lower.find_last_of('/') + 1);
        if (const auto [known, fresh] = byBase_.try_emplace(inside, at);
            !fresh && depth(lower) <= depth(entries_[known->second].lower))
            known->second = at;
        entries_.push_back({std::move(name), std::move(lower), index});
    }
}

std::vector<std::string> ZipArchive::entries() const {
    std::vector<std::string> names;
    names.reserve(entries_.size());
    for (const auto& entry : entries_) names.push_back(entry.name);
    return names;
}

std::optional<std::size_t> ZipArchive::find(std::string_view name) const {
    std::string wanted(name);
    std::ranges::replace(wanted, '\\', '/');
    if (const auto found = byName_.find(wanted); found != byName_.end()) return found->second;
    wanted = base::lowerASCII(wanted);
    if (const auto found = byLower_.find(wanted); found != byLower_.end()) return found->second;
    if (const auto found = byBase_.find(wanted.substr(wanted.find_last_of('/') + 1)); found != byBase_.end()) return found->second;
    return std::nullopt;
}

void ZipArchive::failed(const Entry& entry, std::string_view what) const {
    throw ImportError(fmt::format("{} in {} {}.", entry.name, name_, what));
}

std::string ZipArchive::read(std::size_t at, std::size_t limit) {
    const auto& entry = entries_.at(at);
    zip_stat_t status;
    if (zip_stat_index(archive_.get(), entry.index, 0, &status) != 0) failed(entry, "ist beschädigt");
    if ((status.valid & ZIP_STAT_ENCRYPTION_METHOD) != 0 && status.encryption_method != ZIP_EM_NONE)
        failed(entry, "ist verschlüsselt");
    // The two that these containers use. Others can ask for a dictionary larger than the memory.
    if (status.comp_method != ZIP_CM_STORE && status.comp_method != ZIP_CM_DEFLATE)
        failed(entry, "ist mit einem unbekannten Verfahren gepackt");
    const auto allowed = std::min(limit, limits_.unpacked - read_);
    const auto tooLarge = [&] { failed(entry, fmt::format("ist größer als {}", sizeText(allowed))); };
    const auto declared = static_cast<std::size_t>(status.size);
    if (declared > allowed) tooLarge();

    const std::unique_ptr<zip_file_t, decltype(&zip_fclose)> file(zip_fopen_index(archive_.get(), entry.index, 0), &zip_fclose);
    if (!file) failed(entry, "ist beschädigt");
    // What it says of its size may be wrong: memory grows with what really comes.
    constexpr std::size_t piece = 64u << 10;
    std::string content;
    for (;;) {
        const auto begin = content.size();
        if (begin > allowed) tooLarge();
        content.resize(std::min(begin + std::max(piece, begin), allowed + 1));
        const auto count = zip_fread(file.get(), content.data() + begin, content.size() - begin);
        if (count < 0) failed(entry, "ist beschädigt");
        content.resize(begin + static_cast<std::size_t>(count));
        if (count == 0) break;
    }
    if (content.size() != declared) failed(entry, "ist beschädigt");
    read_ += content.size();
    return content;
}

}  // namespace kestrelyne
