#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "Base/File.hpp"
#include "Base/FileDescriptor.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/App/SettingKind.hpp"
#include "Kestrelyne/App/SettingsStore.hpp"

namespace kestrelyne {

namespace {

constexpr int applicationID = 0x4B73746C;  // "Kstl" in the file's header (PRAGMA application_id)
constexpr int schemaVersion = 1;           // PRAGMA user_version
constexpr int busyTimeoutMs = 5000;
constexpr mode_t privateMode = S_IRUSR | S_IWUSR;

constexpr const char* createSQL = "CREATE TABLE settings (key TEXT PRIMARY KEY NOT NULL, kind TEXT NOT NULL, value NOT NULL)";
constexpr const char* selectAllSQL = "SELECT key, kind, value FROM settings";
constexpr const char* selectSQL = "SELECT key, kind, value FROM settings WHERE key = ?1";
constexpr const char* upsertSQL =
    "INSERT INTO settings (key, kind, value) VALUES (?1, ?2, ?3) "
    "ON CONFLICT (key) DO UPDATE SET kind = excluded.kind, value = excluded.value";

/// The file is readable but no intact store.
class DamagedFile : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class SQLiteError : public std::runtime_error {
public:
    SQLiteError(sqlite3* database, int code) : std::runtime_error(sqlite3_errmsg(database)), code_(code & 0xFF) {}
    bool busy() const { return code_ == SQLITE_BUSY || code_ == SQLITE_LOCKED; }
    /// What the bytes of the file are to blame for, while it is opened: a table that is not ours is SQLITE_ERROR.
    bool speaksOfDamage() const {
        return code_ == SQLITE_CORRUPT || code_ == SQLITE_NOTADB || code_ == SQLITE_ERROR || code_ == SQLITE_MISMATCH;
    }

private:
    int code_;
};

class Statement {
public:
    Statement(sqlite3* database, const char* sql) : database_(database) {
        check(sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr));
    }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement() { sqlite3_finalize(statement_); }

    /// True while there is a row.
    bool step() {
        const int code = sqlite3_step(statement_);
        if (code == SQLITE_ROW) return true;
        if (code != SQLITE_DONE) throw SQLiteError(database_, code);
        return false;
    }
    /// The text outlives the statement.
    void bind(int index, const std::string& text) {
        check(sqlite3_bind_text64(statement_, index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8));
    }
    void bind(int index, const SettingValue& value) {
        if (const auto* blob = std::get_if<SettingBlob>(&value))
            check(sqlite3_bind_blob64(statement_, index, blob->bytes.data(), blob->bytes.size(), SQLITE_STATIC));
        else if (const auto* text = std::get_if<std::string>(&value))
            bind(index, *text);
        else if (const auto* number = std::get_if<double>(&value))
            check(sqlite3_bind_double(statement_, index, *number));
        else
            check(sqlite3_bind_int(statement_, index, std::get<bool>(value) ? 1 : 0));
    }
    int type(int column) const { return sqlite3_column_type(statement_, column); }
    int integer(int column) const { return sqlite3_column_int(statement_, column); }
    double real(int column) const { return sqlite3_column_double(statement_, column); }
    std::string bytes(int column) const {
        const auto* data = static_cast<const char*>(sqlite3_column_blob(statement_, column));
        return data ? std::string(data, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))) : std::string();
    }

private:
    void check(int code) const {
        if (code != SQLITE_OK) throw SQLiteError(database_, code);
    }
    sqlite3* database_;
    sqlite3_stmt* statement_ = nullptr;
};

/// The value of a row of selectSQL; absent when kind and stored type do not belong together.
std::optional<SettingValue> valueOf(const Statement& row) {
    const auto kind = settingKind(row.bytes(1));
    if (!kind) return std::nullopt;
    const int type = row.type(2);
    if (*kind == SettingKind::json && type == SQLITE_BLOB) return SettingBlob{row.bytes(2)};
    if (*kind == SettingKind::text && type == SQLITE_TEXT) return row.bytes(2);
    if (*kind == SettingKind::number && (type == SQLITE_FLOAT || type == SQLITE_INTEGER)) return row.real(2);
    if (*kind == SettingKind::boolean && type == SQLITE_INTEGER) return row.integer(2) != 0;
    return std::nullopt;
}

std::filesystem::path beside(const std::filesystem::path& path, const char* suffix) { return path.string() + suffix; }

/// Makes the file with its final mode before SQLite does with the user's; SQLite gives "-wal" and "-shm" the mode of the file. It
/// is never opened here: closing a descriptor would drop the locks that this process may hold on the file through SQLite.
void makePrivate(const std::filesystem::path& path, int folder) {
    if (mknod(path.c_str(), S_IFREG | privateMode, 0) == 0)
        fsync(folder);
    else if (errno != EEXIST)
        throw std::system_error(errno, std::generic_category());
    for (const auto* suffix : {"", "-wal", "-shm"}) {
        const auto file = beside(path, suffix);
        struct stat status {};
        if (stat(file.c_str(), &status) == 0 && (status.st_mode & 07777) != privateMode) chmod(file.c_str(), privateMode);
    }
}

/// The log file first: whatever is interrupted here, it is never taken for the log of a new store.
std::filesystem::path moveStoreAside(const std::filesystem::path& path) {
    std::error_code ignored;
    std::filesystem::remove(beside(path, "-shm"), ignored);  // an index of the log, rebuilt by whoever opens it
    const auto log = beside(path, "-wal");
    std::optional<std::filesystem::path> movedLog;
    if (std::filesystem::exists(log, ignored)) {
        movedLog = base::moveAside(log);
        if (!movedLog) throw std::system_error(errno, std::generic_category(), log.string());
    }
    const auto moved = base::moveAside(path);
    if (!moved) throw std::system_error(errno, std::generic_category(), path.string());
    if (movedLog) std::filesystem::rename(*movedLog, beside(*moved, "-wal"), ignored);
    return *moved;
}

}  // namespace

struct SettingsFile::Database {
    sqlite3* handle = nullptr;

    Database(const std::filesystem::path& path, int folder) {
        std::error_code ignored;
        const auto logSize = std::filesystem::file_size(beside(path, "-wal"), ignored);
        // SQLite throws the log away when the file is empty; a store never looks like this by itself.
        if (!ignored && logSize > 0 && std::filesystem::exists(path, ignored) && std::filesystem::file_size(path, ignored) == 0)
            throw DamagedFile("the file is empty, its log is not");
        makePrivate(path, folder);
        try {
            open(path);
        } catch (const SQLiteError& error) {
            sqlite3_close_v2(handle);
            if (error.speaksOfDamage()) throw DamagedFile(error.what());
            throw;
        } catch (...) {
            sqlite3_close_v2(handle);
            throw;
        }
    }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database() { sqlite3_close_v2(handle); }

    void run(const char* sql) const {
        Statement statement(handle, sql);
        while (statement.step()) {}
    }
    int number(const char* sql) const {
        Statement statement(handle, sql);
        return statement.step() ? statement.integer(0) : 0;
    }
    void put(const std::string& key, const SettingValue& value) const {
        if (const auto* number = std::get_if<double>(&value); number && !std::isfinite(*number))
            throw std::runtime_error("„" + key + "“ ist keine endliche Zahl");
        const std::string kind = kindName(kindOf(value));
        Statement statement(handle, upsertSQL);
        statement.bind(1, key);
        statement.bind(2, kind);
        statement.bind(3, value);
        statement.step();
    }
    /// All of the work or nothing of it.
    template <class Work>
    void transaction(Work work) const {
        run("BEGIN IMMEDIATE");
        try {
            work();
            run("COMMIT");
        } catch (...) {
            sqlite3_exec(handle, "ROLLBACK", nullptr, nullptr, nullptr);
            throw;
        }
    }

private:
    void open(const std::filesystem::path& path) {
        const int code = sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX, nullptr);
        if (code != SQLITE_OK) throw SQLiteError(handle, code);
        sqlite3_busy_timeout(handle, busyTimeoutMs);
        // The bytes of the file may be anybody's: nothing in its schema runs with effects, and its pages are checked as they are
        // read.
        sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
        sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
        run("PRAGMA cell_size_check = ON");

        const int version = number("PRAGMA user_version");
        if (number("PRAGMA application_id") == applicationID && version > schemaVersion)
            throw std::runtime_error("die Datei stammt von einer neueren Version des Programms");
        Statement check(handle, "PRAGMA quick_check(1)");
        if (!check.step() || check.bytes(0) != "ok") throw DamagedFile("the integrity check failed");
        while (check.step()) {}
        useLog();
        run("PRAGMA synchronous = FULL");
        transaction([this] { prepareSchema(); });
        // Fail to compile when the table has not our columns or its key is not unique.
        for (const auto* sql : {selectAllSQL, selectSQL, upsertSQL}) Statement(handle, sql);
    }
    /// The change to a write-ahead log needs the file for a moment alone, and does not wait by itself when two open it at once.
    void useLog() const {
        constexpr auto pause = std::chrono::milliseconds(10);
        for (int left = busyTimeoutMs / static_cast<int>(pause.count());; --left) {
            try {
                run("PRAGMA journal_mode = WAL");
                return;
            } catch (const SQLiteError& error) {
                if (!error.busy() || left == 0) throw;
            }
            std::this_thread::sleep_for(pause);
        }
    }
    void prepareSchema() const {
        if (number("PRAGMA application_id") == applicationID) return;
        if (number("SELECT count(*) FROM sqlite_schema") != 0) throw DamagedFile("the tables are somebody else's");
        run(createSQL);
        run(("PRAGMA application_id = " + std::to_string(applicationID)).c_str());
        run(("PRAGMA user_version = " + std::to_string(schemaVersion)).c_str());
    }
};

SettingsFile::SettingsFile(const std::filesystem::path& path, Damage damage) {
    const auto cannot = [&path](const std::string& reason) {
        return std::runtime_error("Die Einstellungen „" + path.string() + "“ lassen sich nicht öffnen: " + reason);
    };
    try {
        base::makeFolder(path.parent_path());
        // Two that open at once must not set each other's new file aside.
        const base::FileDescriptor folder(::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!folder) throw std::system_error(errno, std::generic_category());
        flock(folder.get(), LOCK_EX);
        try {
            database_ = std::make_unique<Database>(path, folder.get());
        } catch (const DamagedFile&) {
            if (damage == Damage::refuse) throw cannot("Die Datei ist beschädigt.");
            movedAside_ = moveStoreAside(path);
            database_ = std::make_unique<Database>(path, folder.get());
        }
    } catch (const std::system_error& error) {
        throw cannot(base::errnoText(error.code().value()));
    } catch (const SQLiteError& error) {
        throw cannot(error.what());
    } catch (const DamagedFile& error) {
        throw cannot(error.what());
    }
}

SettingsFile::~SettingsFile() = default;

std::map<std::string, SettingValue> SettingsFile::all() {
    std::map<std::string, SettingValue> values;
    Statement row(database_->handle, selectAllSQL);
    while (row.step())
        if (auto value = valueOf(row)) values.insert_or_assign(row.bytes(0), std::move(*value));
    return values;
}

std::optional<SettingValue> SettingsFile::get(const std::string& key) {
    Statement row(database_->handle, selectSQL);
    row.bind(1, key);
    if (!row.step()) return std::nullopt;
    return valueOf(row);
}

void SettingsFile::set(const std::string& key, const SettingValue& value) { database_->put(key, value); }

bool SettingsFile::remove(const std::string& key) {
    Statement statement(database_->handle, "DELETE FROM settings WHERE key = ?1");
    statement.bind(1, key);
    statement.step();
    return sqlite3_changes(database_->handle) > 0;
}

void SettingsFile::removeAll() { database_->run("DELETE FROM settings"); }

void SettingsFile::setAll(const std::map<std::string, SettingValue>& values) {
    database_->transaction([&] {
        for (const auto& [key, value] : values) database_->put(key, value);
    });
}

}  // namespace kestrelyne
