#include "Kestrelyne/Lighting/PatchStore.hpp"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <utility>

#include "Base/File.hpp"
#include "Base/JSONFields.hpp"
#include "Base/Mutex.hpp"
#include "Base/Require.hpp"
#include "Kestrelyne/Lighting/PatchEncoder.hpp"
#include "Kestrelyne/Lighting/RDMDeviceState.hpp"

namespace kestrelyne {

namespace {

PatchStore* sharedStore = nullptr;

constexpr mode_t fileMode = 0644;            // nothing in it is secret
constexpr std::size_t fixturesASlice = 200;  // encoded in one turn of the loop: well under a millisecond

std::filesystem::path fileIn(const std::filesystem::path& dataFolder) {
    return dataFolder / PatchStore::folderName / PatchStore::fileName;
}

bool isThere(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::exists(std::filesystem::symlink_status(path, ignored));
}

// Absent when the file cannot be read or is no patch.
std::optional<Patch> readPatch(const std::filesystem::path& path) {
    const auto bytes = base::readFile(path, PatchStore::largestFile);
    if (!bytes) return std::nullopt;
    try {
        return base::parseJSON(*bytes).get<Patch>();
    } catch (const base::DecodeError&) {
        return std::nullopt;
    }
}

// What a save has left that was killed in the middle (see base::replaceFile). Nobody else saves: the folder is that of one program.
void removeLeftovers(const std::filesystem::path& folder) {
    std::error_code failure;
    for (auto entry = std::filesystem::directory_iterator(folder, failure);
         !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure)) {
        std::error_code ignored;
        if (entry->path().filename().string().starts_with(".new-")) std::filesystem::remove(entry->path(), ignored);
    }
}

void writeText(const std::filesystem::path& path, std::string_view text) {
    base::makeFolder(path.parent_path());
    base::replaceFile(path, text, fileMode);
}

}  // namespace

/// Shared with writes that are still queued.
struct PatchStore::Writing {
    explicit Writing(std::filesystem::path given) : path(std::move(given)) {}

    // On a slow disk only the newest text waits.
    void put(std::string text) {
        base::Lock lock(mutex);
        newest = std::move(text);
    }
    void write() {
        std::optional<std::string> text;
        {
            base::Lock lock(mutex);
            text.swap(newest);
        }
        if (!text) return;
        try {
            writeText(path, *text);
        } catch (const std::exception&) {
            ++failed;
        }
    }

    const std::filesystem::path path;
    std::atomic<std::size_t> failed = 0;
    base::Mutex mutex;
    std::optional<std::string> newest KESTRELYNE_GUARDED_BY(mutex);
};

PatchStore::PatchStore(std::filesystem::path dataFolder, base::StoreWriter& writer)
    : writer_(writer), writing_(std::make_shared<Writing>(fileIn(dataFolder))) {
    removeLeftovers(writing_->path.parent_path());
    if (!isThere(writing_->path)) return;
    if (auto patch = readPatch(writing_->path))
        patch_.set(std::move(*patch));
    else
        movedAside_ = base::moveAside(writing_->path).value_or("");
}

PatchStore::~PatchStore() {
    if (waiting_) handOver(PatchEncoder::text(*patch_));
    if (sharedStore == this) sharedStore = nullptr;
}

PatchStore& PatchStore::shared() {
    KESTRELYNE_REQUIRE(sharedStore != nullptr, "no patch store is registered");
    return *sharedStore;
}

void PatchStore::registerShared() { sharedStore = this; }

void PatchStore::apply(std::vector<PatchFixture> fixtures, bool replace, std::string source) {
    patch_.change([&](Patch& patch) { patch.apply(std::move(fixtures), replace, std::move(source)); });
    scheduleSave();
}

void PatchStore::update(PatchFixture fixture) {
    patch_.change([&](Patch& patch) { patch.update(std::move(fixture)); });
    scheduleSave();
}

void PatchStore::remove(const std::set<base::UUID>& ids) {
    patch_.change([&](Patch& patch) { patch.remove(ids); });
    scheduleSave();
}

void PatchStore::bulkEdit(const std::set<base::UUID>& ids, const PatchBulkEdit& edit) {
    patch_.change([&](Patch& patch) { patch.bulkEdit(ids, edit); });
    scheduleSave();
}

void PatchStore::setSettings(PatchSettings settings) {
    patch_.change([&](Patch& patch) { patch.settings = std::move(settings); });
    scheduleSave();
}

void PatchStore::set(Patch patch) {
    patch.sort();
    patch_.set(std::move(patch));
    scheduleSave();
}

const RDMDeviceState* PatchStore::rdmDevice(const PatchFixture& fixture, const std::vector<RDMDeviceState>& devices) const {
    if (fixture.rdmUID) {
        const auto linked = std::ranges::find(devices, *fixture.rdmUID, [](const auto& device) { return device.uid.text(); });
        if (linked != devices.end()) return &*linked;
    }
    if (!fixture.patched()) return nullptr;
    const auto universe = settings().artNetUniverse(fixture.universe);
    const auto found = std::ranges::find_if(devices, [&](const auto& device) {
        return device.universe == universe && device.info && device.info->startAddress == fixture.address;
    });
    return found == devices.end() ? nullptr : &*found;
}

void PatchStore::scheduleSave() {
    waiting_ = true;
    ++revision_;
    saveTask_ = base::Task("patch.save", saveLater());
}

void PatchStore::handOver(std::string text) {
    waiting_ = false;
    writing_->put(std::move(text));
    writer_.write([writing = writing_] { writing->write(); });
}

// Each change starts this anew, so that the patch stands still while it is encoded.
base::Co<> PatchStore::saveLater() {
    co_await base::sleepFor(saveDelay);
    PatchEncoder encoder(*patch_);
    while (waiting_ && !encoder.step(fixturesASlice)) co_await base::sleepFor(base::Seconds(0));
    if (waiting_) handOver(encoder.take());
}

base::Co<> PatchStore::flush() {
    if (waiting_) {
        const auto revision = revision_;
        PatchEncoder encoder(*patch_);
        bool ended = false;
        while (waiting_ && revision == revision_ && !(ended = encoder.step(fixturesASlice)))
            co_await base::sleepFor(base::Seconds(0));
        // Changed meanwhile: at once, or a busy hand could put the save off for ever.
        if (waiting_) handOver(ended ? encoder.take() : PatchEncoder::text(*patch_));
    }
    co_await writer_.flush();
}

std::size_t PatchStore::failedWrites() const { return writing_->failed; }

Patch PatchStore::read(const std::filesystem::path& dataFolder) {
    const auto path = fileIn(dataFolder);
    if (!isThere(path)) return {};
    if (auto patch = readPatch(path)) return std::move(*patch);
    throw std::runtime_error("Der Patch „" + path.string() + "“ ist beschädigt.");
}

void PatchStore::write(const std::filesystem::path& dataFolder, const Patch& patch) {
    const auto path = fileIn(dataFolder);
    removeLeftovers(path.parent_path());
    writeText(path, PatchEncoder::text(patch));
}

}  // namespace kestrelyne
