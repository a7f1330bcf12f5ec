#pragma once
// The patch of the present show: the one list through which a lamp is found, tested and measured against the plan.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Base/Observable.hpp"
#include "Base/StoreWriter.hpp"
#include "Base/Task.hpp"
#include "Kestrelyne/Lighting/Patch.hpp"

namespace kestrelyne {

struct RDMDeviceState;

/// Main thread. A change is written half a second later, the whole file at once, so that a burst of edits costs one write; the text
/// of a large rig is made in slices between which the loop turns. A write that fails is silent but counted.
class PatchStore {
public:
    static constexpr const char* folderName = "Patch";  // below the data folder
    static constexpr const char* fileName = "patch.json";
    static constexpr base::Seconds saveDelay{0.5};
    /// A file that is larger counts as damaged.
    static constexpr std::size_t largestFile = 256u << 20;

    /// Reads the file. A missing one gives an empty patch; a damaged one is moved aside with a date in its name first, and what a
    /// killed save has left goes. The caller holds the lock of the data folder. Blocking, as every load of the start.
    PatchStore(std::filesystem::path dataFolder, base::StoreWriter& writer);
    /// Hands over to the writer what is waiting.
    ~PatchStore();
    PatchStore(const PatchStore&) = delete;
    PatchStore& operator=(const PatchStore&) = delete;

    /// The instance that the application registered.
    static PatchStore& shared();
    void registerShared();

    /// All of it, told once a change.
    const base::Observable<Patch>& patch() const { return patch_; }
    const std::vector<PatchFixture>& fixtures() const { return patch_->fixtures; }
    const PatchSettings& settings() const { return patch_->settings; }
    const std::string& sourceName() const { return patch_->sourceName; }

    /// Another after every change.
    std::uint64_t revision() const { return revision_; }

    void apply(std::vector<PatchFixture> fixtures, bool replace, std::string source);
    void update(PatchFixture fixture);
    void remove(const std::set<base::UUID>& ids);
    void bulkEdit(const std::set<base::UUID>& ids, const PatchBulkEdit& edit);
    void setSettings(PatchSettings settings);
    /// Puts another patch in the place of this one.
    void set(Patch patch);

    /// The live device of a fixture: the one it is linked to, else the one at its universe and address; nullptr without one.
    /// Points into `devices`.
    const RDMDeviceState* rdmDevice(const PatchFixture& fixture, const std::vector<RDMDeviceState>& devices) const;

    /// Writes at once what is waiting and resumes when it is on disk.
    base::Co<> flush();
    /// How many writes have failed since the start.
    std::size_t failedWrites() const;
    /// Where a damaged file went at the start; empty when there was none.
    const std::filesystem::path& movedAside() const { return movedAside_; }

    /// The file of a data folder, read where no program runs: an empty patch when it is missing; throws std::runtime_error with a
    /// German text when it is damaged. Blocking.
    static Patch read(const std::filesystem::path& dataFolder);
    /// The same under the lock of the data folder. Blocking; throws std::system_error.
    static void write(const std::filesystem::path& dataFolder, const Patch& patch);

private:
    struct Writing;
    void scheduleSave();
    void handOver(std::string text);
    base::Co<> saveLater();

    base::StoreWriter& writer_;
    std::shared_ptr<Writing> writing_;
    base::Observable<Patch> patch_;
    std::filesystem::path movedAside_;
    bool waiting_ = false;        // what is here is not handed over yet
    std::uint64_t revision_ = 0;  // of the patch
    base::Task saveTask_;
};

}  // namespace kestrelyne
