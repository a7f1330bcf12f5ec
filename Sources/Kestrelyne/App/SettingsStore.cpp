#include "Kestrelyne/App/SettingsStore.hpp"

namespace kestrelyne {

SettingsStore::SettingsStore(std::unique_ptr<SettingsFile> file, base::StoreWriter& writer)
    : writer_(&writer), values_(file->all()) {
    writing_->file = std::move(file);
}

SettingsStore::SettingsStore() = default;

std::optional<SettingValue> SettingsStore::value(const std::string& key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) return std::nullopt;
    return found->second;
}

std::optional<std::string> SettingsStore::blob(const std::string& key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) return std::nullopt;
    if (const auto* blob = std::get_if<SettingBlob>(&found->second)) return blob->bytes;
    return text(key);
}

namespace {
template <class Kind>
std::optional<Kind> ofKind(const std::map<std::string, SettingValue>& values, const std::string& key) {
    const auto found = values.find(key);
    if (found == values.end()) return std::nullopt;
    const auto* value = std::get_if<Kind>(&found->second);
    if (!value) return std::nullopt;
    return *value;
}
}  // namespace

std::optional<bool> SettingsStore::boolean(const std::string& key) const { return ofKind<bool>(values_, key); }
std::optional<std::string> SettingsStore::text(const std::string& key) const { return ofKind<std::string>(values_, key); }
std::optional<double> SettingsStore::number(const std::string& key) const { return ofKind<double>(values_, key); }

void SettingsStore::setBlob(const std::string& key, std::string bytes) { save(key, SettingBlob{std::move(bytes)}); }
void SettingsStore::setBoolean(const std::string& key, bool value) { save(key, value); }
void SettingsStore::setText(const std::string& key, std::string value) { save(key, std::move(value)); }

void SettingsStore::remove(const std::string& key) {
    values_.erase(key);
    // Also when it was not here: another program may have written it.
    write(key, std::nullopt);
}

void SettingsStore::save(const std::string& key, SettingValue value) {
    values_.insert_or_assign(key, value);
    write(key, std::move(value));
}

// On a slow disk a key that changes quickly would fill the queue with values that nobody needs any more: only the newest waits.
void SettingsStore::write(const std::string& key, std::optional<SettingValue> value) {
    if (!writer_) return;
    {
        base::Lock lock(writing_->mutex);
        const bool waiting = !writing_->changes.insert_or_assign(key, std::move(value)).second;
        if (waiting) return;
    }
    writer_->write([writing = writing_, key] { writeNewest(*writing, key); });
}

// A write that fails leaves the old value in the file and the new one in memory; the program goes on.
void SettingsStore::writeNewest(Writing& writing, const std::string& key) {
    std::optional<SettingValue> value;
    {
        base::Lock lock(writing.mutex);
        value = std::move(writing.changes.extract(key).mapped());
    }
    try {
        if (value)
            writing.file->set(key, *value);
        else
            writing.file->remove(key);
    } catch (const std::exception&) {
        ++writing.failed;
    }
}

std::size_t SettingsStore::waitingWrites() const {
    base::Lock lock(writing_->mutex);
    return writing_->changes.size();
}

}  // namespace kestrelyne
