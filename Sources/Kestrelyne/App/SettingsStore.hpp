#pragma once
// The settings of the program: one value a key, kept in memory, written to an SQLite file by the store writer.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Base/Mutex.hpp"
#include "Base/StoreWriter.hpp"

namespace kestrelyne {

/// One stored value: bytes (a JSON document of its owner), text, number or boolean.
struct SettingBlob {
    std::string bytes;
    bool operator==(const SettingBlob&) const = default;
};
using SettingValue = std::variant<SettingBlob, std::string, double, bool>;

/// The file itself (SQLite in WAL mode, synchronous FULL, mode 0600, one row a key: key, kind, value; one transaction a write).
/// Several programs may have it open. Blocking; a call throws std::runtime_error with a German text when the file cannot be used.
class SettingsFile {
public:
    /// What to do with a file that is no intact store. `refuse` throws: for a tool beside a program that has the file open.
    enum class Damage { moveAside, refuse };
    /// Opens or creates the file and its folder. A file that is no intact store is moved aside with a date in its name;
    /// `movedAside` then names where it went.
    explicit SettingsFile(const std::filesystem::path& path, Damage damage = Damage::moveAside);
    ~SettingsFile();
    SettingsFile(const SettingsFile&) = delete;
    SettingsFile& operator=(const SettingsFile&) = delete;

    const std::optional<std::filesystem::path>& movedAside() const { return movedAside_; }

    std::map<std::string, SettingValue> all();
    std::optional<SettingValue> get(const std::string& key);
    /// Returns when the change is on disk.
    void set(const std::string& key, const SettingValue& value);
    /// True when the key was there.
    bool remove(const std::string& key);
    void removeAll();
    /// Sets all of them in one transaction: all or nothing.
    void setAll(const std::map<std::string, SettingValue>& values);

private:
    struct Database;
    std::unique_ptr<Database> database_;
    std::optional<std::filesystem::path> movedAside_;
};

/// What the stores of the program read and write. Main thread. Reading is from memory; a change is handed to the writer at once.
/// What another program writes into the file meanwhile counts from the next start, and is replaced by the next change of that key
/// here.
class SettingsStore {
public:
    /// Loads everything. The writer outlives the store.
    SettingsStore(std::unique_ptr<SettingsFile> file, base::StoreWriter& writer);
    /// Without a file: for tests. Nothing is written anywhere.
    SettingsStore();

    std::optional<SettingValue> value(const std::string& key) const;
    /// The bytes of a blob (a text counts as well); absent when the key is missing or of another kind.
    std::optional<std::string> blob(const std::string& key) const;
    std::optional<bool> boolean(const std::string& key) const;
    std::optional<std::string> text(const std::string& key) const;
    std::optional<double> number(const std::string& key) const;

    /// How many changes could not be written since the start: nothing else tells of them. Any thread.
    std::size_t failedWrites() const { return writing_->failed; }

    /// Keys whose newest change is not yet in the file. A key waits once, however often it changes meanwhile. Any thread.
    std::size_t waitingWrites() const;

    void setBlob(const std::string& key, std::string bytes);
    void setBoolean(const std::string& key, bool value);
    void setText(const std::string& key, std::string value);
    void remove(const std::string& key);

private:
    /// Shared with writes that are still queued.
    struct Writing {
        std::unique_ptr<SettingsFile> file;  // writer's thread only, once loaded
        std::atomic<std::size_t> failed = 0;
        base::Mutex mutex;
        std::map<std::string, std::optional<SettingValue>> changes KESTRELYNE_GUARDED_BY(mutex);  // nothing: the key goes
    };
    void save(const std::string& key, SettingValue value);
    void write(const std::string& key, std::optional<SettingValue> value);
    static void writeNewest(Writing& writing, const std::string& key);

    std::shared_ptr<Writing> writing_ = std::make_shared<Writing>();
    base::StoreWriter* writer_ = nullptr;
    std::map<std::string, SettingValue> values_;
};

}  // namespace kestrelyne
