// host/sources/sqlite_state.cpp - what tells a state of an SQLite database from others.

#include "host/sources/sqlite_state.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <thread>

#include <sys/stat.h>

#include "host/job/words.h"
#include "host/sources/source.h"

namespace fenwire {

namespace {

constexpr int kCounterAt = 24;  // in the file's header, big-endian
// Times of files go by the kernel's tick, which is shorter.
constexpr std::chrono::milliseconds kTick{20};
constexpr int kTicksToWait = 5;
constexpr int kTriesToBegin = 5;
constexpr const char *kVersion = "PRAGMA data_version";

// Through SQLite's own descriptor: to open the file once more and close it would free SQLite's locks.
uint32_t ChangesOf(SqliteDatabase &database)
{
    sqlite3_file *file = nullptr;
    sqlite3_file_control(database.get(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
    std::array<uint8_t, 4> bytes{};
    if (file == nullptr || file->pMethods == nullptr ||
        file->pMethods->xRead(file, bytes.data(), bytes.size(), kCounterAt) != SQLITE_OK)
        return 0;
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

int64_t Nanoseconds(const timespec &time) { return time.tv_sec * 1'000'000'000 + time.tv_nsec; }

int64_t Now()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return Nanoseconds(now);
}

SqliteState LookAt(SqliteDatabase &database)
{
    SqliteState state;
    state.schema = SqliteNumber(database, "PRAGMA schema_version");
    state.changes = ChangesOf(database);
    const char *name = sqlite3_db_filename(database.get(), "main");
    struct stat file {};
    if (name == nullptr || stat(name, &file) != 0)
        state.certain = false;
    state.bytes = file.st_size;
    const SqliteStatement mode = database.Prepare("PRAGMA journal_mode");
    if (!database.Step(mode) || SqliteText(mode, 0) != "wal")
        return state;
    state.time_ns = Nanoseconds(file.st_mtim);
    struct stat log {};
    if (stat(sqlite3_filename_wal(name), &log) == 0 && log.st_size > 0) {
        state.log_time_ns = Nanoseconds(log.st_mtim);
        state.log_bytes = log.st_size;
    }
    const std::chrono::nanoseconds age(Now() - std::max(state.time_ns, state.log_time_ns));
    state.certain = state.certain && age >= kTick;
    return state;
}

}  // namespace

std::string SqliteState::Text() const
{
    return fmt::format("state {} {} {} {} {} {} {}", schema, changes, bytes, time_ns, log_time_ns,
                       log_bytes, certain ? 1 : 0);
}

SqliteState SqliteState::From(PositionReader &place)
{
    if (place.Word() != "state")
        place.Refuse();
    SqliteState state;
    state.schema = place.Whole<int64_t>();
    state.changes = place.Whole<uint32_t>();
    state.bytes = place.Whole<int64_t>();
    state.time_ns = place.Whole<int64_t>();
    state.log_time_ns = place.Whole<int64_t>();
    state.log_bytes = place.Whole<int64_t>();
    state.certain = place.Whole<uint32_t>() == 1;
    return state;
}

SqliteState SqliteStateOf(SqliteDatabase &database)
{
    SqliteState state = LookAt(database);
    for (int i = 0; i < kTicksToWait && !state.certain; ++i) {
        std::this_thread::sleep_for(kTick);
        state = LookAt(database);
    }
    return state;
}

void SqliteSnapshot::Begin(SqliteDatabase &database, const std::filesystem::path &file, int parts)
{
    file_ = file;
    if (parts > 1) {
        watch_.emplace(file_, SqliteDatabase::Access::Read);
        watch_->WaitForLocks(kLongestSqliteWait);
    }
    for (int tries = 0; tries < kTriesToBegin; ++tries) {
        version_ = watch_ ? SqliteNumber(*watch_, kVersion) : 0;
        const SqliteState before = SqliteStateOf(database);
        database.Run("BEGIN; SELECT 1 FROM main.sqlite_schema LIMIT 1");
        state_ = SqliteStateOf(database);
        state_.certain = state_ == before && before.certain;
        if (!watch_ || SqliteNumber(*watch_, kVersion) == version_)
            return;
        database.RollBack();
    }
    throw SourceError(fmt::format("database {} is being written all the time; run the job with one "
                                  "instance, or when the other program is done",
                                  Quoted(file_.string())));
}

void SqliteSnapshot::RequireSameOfAll()
{
    if (!watch_)
        return;
    if (SqliteNumber(*watch_, kVersion) != version_)
        throw SourceError(fmt::format("database {} was changed while the instances began to read, "
                                      "so they would see different rows; run the job again, or "
                                      "with one instance",
                                      Quoted(file_.string())));
    watch_.reset();
}

int64_t SqliteNumber(SqliteDatabase &database, const std::string &sql)
{
    const SqliteStatement row = database.Prepare(sql);
    return database.Step(row) ? sqlite3_column_int64(row.get(), 0) : 0;
}

}  // namespace fenwire
