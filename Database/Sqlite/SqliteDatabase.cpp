#include "Database/Sqlite/SqliteDatabase.h"

#include "Support/Files.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <cctype>
#include <charconv>
#include <system_error>
#include <unordered_map>

namespace Database {

namespace {

const Support::Logger log("database");

// Each entry moves the schema one version up. Migrations only add tables, indexes, triggers and columns:
// a row written by an older version is still there, unchanged, afterwards.
const char* const migrations[] = {
    // 1: recordings and transcripts, with their full-text indexes.
    R"sql(
CREATE TABLE recordings(
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    title TEXT NOT NULL DEFAULT '',
    notes TEXT,
    start_date INTEGER NOT NULL,
    duration REAL NOT NULL DEFAULT 0,
    is_favorite INTEGER NOT NULL DEFAULT 0,
    file_path TEXT NOT NULL DEFAULT '',
    video_path TEXT,
    has_transcript INTEGER NOT NULL DEFAULT 0,
    event_title TEXT,
    event_notes TEXT,
    meeting_platform TEXT,
    participants TEXT NOT NULL DEFAULT '',
    summary TEXT);
CREATE INDEX recordings_by_start ON recordings(start_date);
CREATE TABLE transcript_segments(
    id INTEGER PRIMARY KEY,
    recording_id INTEGER NOT NULL REFERENCES recordings(id) ON DELETE CASCADE,
    start_time REAL NOT NULL,
    end_time REAL NOT NULL DEFAULT 0,
    text TEXT NOT NULL,
    speaker TEXT NOT NULL DEFAULT '',
    is_from_microphone INTEGER NOT NULL DEFAULT 0);
CREATE INDEX segments_by_recording ON transcript_segments(recording_id, start_time, id);
CREATE VIRTUAL TABLE recordings_fts USING fts5(title, notes, content='recordings', content_rowid='id',
    tokenize='unicode61 remove_diacritics 2');
CREATE VIRTUAL TABLE segments_fts USING fts5(text, content='transcript_segments', content_rowid='id',
    tokenize='unicode61 remove_diacritics 2');
CREATE TRIGGER recordings_fts_insert AFTER INSERT ON recordings BEGIN
    INSERT INTO recordings_fts(rowid, title, notes) VALUES (new.id, new.title, new.notes);
END;
CREATE TRIGGER recordings_fts_delete AFTER DELETE ON recordings BEGIN
    INSERT INTO recordings_fts(recordings_fts, rowid, title, notes) VALUES ('delete', old.id, old.title, old.notes);
END;
CREATE TRIGGER recordings_fts_update AFTER UPDATE OF title, notes ON recordings BEGIN
    INSERT INTO recordings_fts(recordings_fts, rowid, title, notes) VALUES ('delete', old.id, old.title, old.notes);
    INSERT INTO recordings_fts(rowid, title, notes) VALUES (new.id, new.title, new.notes);
END;
CREATE TRIGGER segments_fts_insert AFTER INSERT ON transcript_segments BEGIN
    INSERT INTO segments_fts(rowid, text) VALUES (new.id, new.text);
END;
CREATE TRIGGER segments_fts_delete AFTER DELETE ON transcript_segments BEGIN
    INSERT INTO segments_fts(segments_fts, rowid, text) VALUES ('delete', old.id, old.text);
END;
CREATE TRIGGER segments_fts_update AFTER UPDATE OF text ON transcript_segments BEGIN
    INSERT INTO segments_fts(segments_fts, rowid, text) VALUES ('delete', old.id, old.text);
    INSERT INTO segments_fts(rowid, text) VALUES (new.id, new.text);
END;
)sql",
    // 2: topics and action items written by the AI jobs.
    R"sql(
CREATE TABLE topics(
    id INTEGER PRIMARY KEY,
    recording_id INTEGER NOT NULL REFERENCES recordings(id) ON DELETE CASCADE,
    title TEXT NOT NULL,
    start_time REAL NOT NULL,
    end_time REAL NOT NULL,
    summary TEXT);
CREATE INDEX topics_by_recording ON topics(recording_id, start_time);
CREATE TABLE action_items(
    id INTEGER PRIMARY KEY,
    recording_id INTEGER NOT NULL REFERENCES recordings(id) ON DELETE CASCADE,
    text TEXT NOT NULL,
    is_completed INTEGER NOT NULL DEFAULT 0,
    assignee TEXT,
    position INTEGER NOT NULL DEFAULT 0);
CREATE INDEX action_items_by_recording ON action_items(recording_id, position);
)sql",
    // 3: slides, captured screens, the frame index, and the audio lead time.
    R"sql(
ALTER TABLE recordings ADD COLUMN audio_lead_time REAL;
CREATE TABLE slides(
    id INTEGER PRIMARY KEY,
    recording_id INTEGER NOT NULL REFERENCES recordings(id) ON DELETE CASCADE,
    time REAL NOT NULL,
    image_name TEXT NOT NULL,
    text TEXT NOT NULL DEFAULT '');
CREATE INDEX slides_by_recording ON slides(recording_id, time);
CREATE TABLE screen_captures(
    id INTEGER PRIMARY KEY,
    recording_id INTEGER NOT NULL REFERENCES recordings(id) ON DELETE CASCADE,
    time REAL NOT NULL,
    image_name TEXT NOT NULL,
    screen_text TEXT NOT NULL DEFAULT '',
    label TEXT,
    is_featured INTEGER NOT NULL DEFAULT 0,
    rank INTEGER);
CREATE INDEX screen_captures_by_recording ON screen_captures(recording_id, time);
CREATE TABLE frame_index(
    id INTEGER PRIMARY KEY,
    recording_id INTEGER NOT NULL REFERENCES recordings(id) ON DELETE CASCADE,
    time REAL NOT NULL,
    text TEXT NOT NULL);
CREATE INDEX frame_index_by_recording ON frame_index(recording_id, time);
)sql",
    // 4: the audio tracks of a recording (microphone and what the computer played), one line each in
    // "m|s <offset> <path>" form; empty for a single-file recording.
    R"sql(
ALTER TABLE recordings ADD COLUMN tracks TEXT NOT NULL DEFAULT '';
)sql",
    // 5: seconds from the start of the recording to the screen video's first frame.
    R"sql(
ALTER TABLE recordings ADD COLUMN video_offset REAL;
)sql",
};
static_assert(std::size(migrations) == SqliteDatabase::schemaVersion);

constexpr const char* recordingColumns =
    "id, title, notes, start_date, duration, is_favorite, file_path, video_path, has_transcript, "
    "event_title, "
    "event_notes, meeting_platform, participants, summary, audio_lead_time, tracks, video_offset";

std::string joinParticipants(const std::vector<std::string>& names) {
    std::vector<std::string> cleaned;
    for (const auto& name : names) {
        auto one = Support::Text::trimmed(Support::Text::replacingAll(name, "\n", " "));
        if (!one.empty()) {
            cleaned.push_back(std::move(one));
        }
    }
    return Support::Text::joined(cleaned, "\n");
}

// One line per track: "m" or "s", the offset in seconds, and the path (the rest of the line). A path with a
// line break cannot be kept this way and is refused when the recording is written.
std::string joinTracks(const std::vector<DatabaseManager::RecordingTrack>& tracks) {
    std::string text;
    for (const auto& t : tracks) {
        auto path = t.file.string();
        if (path.find('\n') != std::string::npos) {
            throw DatabaseError(DatabaseError::Kind::io, "A recording's file name cannot hold a line break.");
        }
        text += fmt::format("{} {} {}\n", t.isMicrophone ? 'm' : 's', t.offset, path);
    }
    return text;
}

std::vector<DatabaseManager::RecordingTrack> splitTracks(std::string_view text) {
    std::vector<DatabaseManager::RecordingTrack> tracks;
    while (!text.empty()) {
        auto end = text.find('\n');
        auto line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
        auto space = line.find(' ', 2);
        if (line.size() < 5 || (line[0] != 'm' && line[0] != 's') || line[1] != ' ' ||
            space == std::string_view::npos) {
            continue; // damaged line: the track is left out rather than guessed
        }
        DatabaseManager::RecordingTrack track;
        track.isMicrophone = line[0] == 'm';
        auto number = line.substr(2, space - 2);
        if (std::from_chars(number.data(), number.data() + number.size(), track.offset).ec != std::errc{}) {
            continue;
        }
        track.file = std::string(line.substr(space + 1));
        tracks.push_back(std::move(track));
    }
    return tracks;
}

std::vector<std::string> splitParticipants(const std::string& text) {
    std::vector<std::string> names;
    if (text.empty()) {
        return names;
    }
    for (auto& name : Support::Text::split(text, '\n')) {
        if (!name.empty()) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

} // namespace

class SqliteDatabase::Statement {
public:
    Statement(SqliteDatabase& owner, const char* sql) : owner_(owner) {
        int rc = sqlite3_prepare_v2(owner.db_, sql, -1, &stmt_, nullptr);
        if (rc != SQLITE_OK) {
            owner.fail(rc, "prepare");
        }
    }
    ~Statement() { sqlite3_finalize(stmt_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(int index, std::int64_t value) {
        check(sqlite3_bind_int64(stmt_, index, value));
        return *this;
    }
    Statement& bind(int index, int value) { return bind(index, static_cast<std::int64_t>(value)); }
    Statement& bind(int index, bool value) { return bind(index, static_cast<std::int64_t>(value ? 1 : 0)); }
    Statement& bind(int index, double value) {
        check(sqlite3_bind_double(stmt_, index, value));
        return *this;
    }
    Statement& bind(int index, const std::string& value) {
        check(
            sqlite3_bind_text(stmt_, index, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT));
        return *this;
    }
    Statement& bind(int index, const char* value) { return bind(index, std::string(value)); }
    template <typename T> Statement& bind(int index, const std::optional<T>& value) {
        if (value) {
            return bind(index, *value);
        }
        check(sqlite3_bind_null(stmt_, index));
        return *this;
    }

    /// Advances; true when a row is available.
    bool step() {
        int rc = sqlite3_step(stmt_);
        if (rc == SQLITE_ROW) {
            return true;
        }
        if (rc == SQLITE_DONE) {
            return false;
        }
        owner_.fail(rc, "step");
    }
    void run() {
        while (step()) {
        }
    }
    void reset() {
        sqlite3_reset(stmt_);
        sqlite3_clear_bindings(stmt_);
    }

    std::int64_t int64(int col) const { return sqlite3_column_int64(stmt_, col); }
    int integer(int col) const { return sqlite3_column_int(stmt_, col); }
    double real(int col) const { return sqlite3_column_double(stmt_, col); }
    bool isNull(int col) const { return sqlite3_column_type(stmt_, col) == SQLITE_NULL; }
    std::string text(int col) const {
        auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, col));
        return p ? std::string(p, static_cast<std::size_t>(sqlite3_column_bytes(stmt_, col))) : std::string();
    }
    std::optional<std::string> optionalText(int col) const {
        return isNull(col) ? std::nullopt : std::optional<std::string>(text(col));
    }
    std::optional<double> optionalReal(int col) const {
        return isNull(col) ? std::nullopt : std::optional<double>(real(col));
    }

private:
    void check(int rc) {
        if (rc != SQLITE_OK) {
            owner_.fail(rc, "bind");
        }
    }
    SqliteDatabase& owner_;
    sqlite3_stmt* stmt_ = nullptr;
};

template <typename Row, typename BindRow>
void SqliteDatabase::replaceChildRows(RecordingId id, const char* table, const char* insertSql,
                                      const std::vector<Row>& rows, BindRow bindRow) {
    auto remove = "DELETE FROM " + std::string(table) + " WHERE recording_id = ?";
    prepare(remove.c_str()).bind(1, id).run();
    auto insert = prepare(insertSql);
    for (const auto& row : rows) {
        insert.reset();
        insert.bind(1, id);
        bindRow(insert, row);
        insert.run();
    }
}

namespace {

DatabaseManager::Recording readRecording(const auto& s) {
    DatabaseManager::Recording r;
    r.id = s.int64(0);
    r.title = s.text(1);
    r.notes = s.optionalText(2);
    r.startDate = Support::Date(Support::Duration(s.int64(3)));
    r.duration = s.real(4);
    r.isFavorite = s.integer(5) != 0;
    r.fileURL = s.text(6);
    if (auto video = s.optionalText(7)) {
        r.videoFileURL = std::filesystem::path(*video);
    }
    r.hasTranscript = s.integer(8) != 0;
    r.calendarEventTitle = s.optionalText(9);
    r.calendarEventNotes = s.optionalText(10);
    r.meetingPlatform = s.optionalText(11);
    r.participants = splitParticipants(s.text(12));
    r.summary = s.optionalText(13);
    r.audioLeadTime = s.optionalReal(14);
    r.tracks = splitTracks(s.text(15));
    r.videoOffset = s.optionalReal(16);
    return r;
}

DatabaseManager::TranscriptSegment readSegment(const auto& s) {
    DatabaseManager::TranscriptSegment seg;
    seg.id = s.int64(0);
    seg.recordingId = s.int64(1);
    seg.startTime = s.real(2);
    seg.endTime = s.real(3);
    seg.text = s.text(4);
    seg.speaker = s.text(5);
    seg.isFromMicrophone = s.integer(6) != 0;
    return seg;
}

std::optional<std::string> pathText(const std::optional<std::filesystem::path>& p) {
    return p ? std::optional<std::string>(p->string()) : std::nullopt;
}

} // namespace

std::filesystem::path SqliteDatabase::defaultPath() {
    return Support::Files::dataHome() / "library.sqlite";
}

SqliteDatabase::SqliteDatabase(const std::filesystem::path& path) : SqliteDatabase(path, Options{}) {}

SqliteDatabase::SqliteDatabase(const std::filesystem::path& path, Options options)
    : path_(path), mode_(options.mode) {
    try {
        open(options);
        hasPassageRank_ = passageRank_.install(db_);
    } catch (...) {
        sqlite3_close_v2(db_);
        db_ = nullptr;
        throw;
    }
}

SqliteDatabase::~SqliteDatabase() {
    sqlite3_close_v2(db_);
}

void SqliteDatabase::fail(int code, const std::string& what) {
    const int primary = code & 0xff;
    std::string detail = db_ && sqlite3_errcode(db_) == code ? sqlite3_errmsg(db_) : sqlite3_errstr(code);
    log.error("SQLite {} failed on {}: {}", what, path_.string(), detail);
    if (primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB) {
        throw DatabaseError(
            DatabaseError::Kind::corrupt,
            fmt::format("The library file {} is damaged and can't be read. Vellmora left it as "
                        "it is: restore it from a backup, or move it away to start a new library.",
                        path_.string()));
    }
    if (primary == SQLITE_READONLY) {
        throw DatabaseError(
            DatabaseError::Kind::readOnly,
            fmt::format("The library {} is open read-only; nothing was changed.", path_.string()));
    }
    throw DatabaseError(
        DatabaseError::Kind::io,
        fmt::format("The library {} couldn't be read or written: {}.", path_.string(), detail));
}

void SqliteDatabase::exec(const char* sql) {
    char* message = nullptr;
    int rc = sqlite3_exec(db_, sql, nullptr, nullptr, &message);
    sqlite3_free(message);
    if (rc != SQLITE_OK) {
        fail(rc, "exec");
    }
}

SqliteDatabase::Statement SqliteDatabase::prepare(const char* sql) {
    return Statement(*this, sql);
}

int SqliteDatabase::userVersion() {
    std::lock_guard lock(mutex_);
    auto s = prepare("PRAGMA user_version");
    return s.step() ? s.integer(0) : 0;
}

void SqliteDatabase::open(Options options) {
    const bool inMemory = path_ == ":memory:";
    int flags = SQLITE_OPEN_NOMUTEX;
    if (mode_ == Mode::readOnly) {
        std::error_code ec;
        if (!inMemory && !std::filesystem::exists(path_, ec)) {
            throw DatabaseError(DatabaseError::Kind::io,
                                fmt::format("There is no library at {}.", path_.string()));
        }
        flags |= SQLITE_OPEN_READONLY;
    } else {
        flags |= SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
        if (!inMemory && path_.has_parent_path()) {
            std::error_code ec;
            std::filesystem::create_directories(path_.parent_path(), ec);
            if (ec) {
                throw DatabaseError(DatabaseError::Kind::io,
                                    fmt::format("The folder {} couldn't be created: {}.",
                                                path_.parent_path().string(), ec.message()));
            }
        }
    }
    int rc = sqlite3_open_v2(path_.c_str(), &db_, flags, nullptr);
    if (rc != SQLITE_OK) {
        fail(rc, "open");
    }
    sqlite3_busy_timeout(db_, 5000);
    // Up to 32 MiB of pages kept in memory instead of the default 2 MiB, for searches over large libraries.
    exec("PRAGMA cache_size = -32768");

    // Reading the version touches only the header: a file that is not a database fails here, unwritten.
    const int version = userVersion();
    if (version > schemaVersion) {
        throw DatabaseError(
            DatabaseError::Kind::newerVersion,
            fmt::format("The library {} was written by a newer version of Vellmora (schema {}; "
                        "this version reads up to {}). Update Vellmora to open it; the file was "
                        "left as it is.",
                        path_.string(), version, schemaVersion));
    }
    const int target = std::min(options.migrateUpTo.value_or(schemaVersion), schemaVersion);
    if (mode_ == Mode::readOnly) {
        if (version < target) {
            throw DatabaseError(
                DatabaseError::Kind::readOnly,
                fmt::format("The library {} is from an older version of Vellmora; open Vellmora "
                            "once to update it before reading it here.",
                            path_.string()));
        }
        exec("PRAGMA query_only = ON");
        return;
    }

    std::string journal;
    {
        auto s = prepare("PRAGMA journal_mode");
        journal = s.step() ? Support::Text::asciiLowercased(s.text(0)) : "";
    }
    const bool willWrite = version < target || (journal != "wal" && !inMemory);
    if (willWrite && version > 0) {
        // An existing file is checked before its header or schema is changed: a damaged one is reported
        // and left exactly as it was.
        auto s = prepare("PRAGMA quick_check(1)");
        if (s.step() && s.text(0) != "ok") {
            fail(SQLITE_CORRUPT, "quick_check");
        }
    }
    if (!inMemory) {
        exec("PRAGMA journal_mode = WAL");
        exec("PRAGMA synchronous = NORMAL");
    }
    exec("PRAGMA foreign_keys = ON");
    if (version < target) {
        migrate(version, target);
    }
}

void SqliteDatabase::migrate(int from, int to) {
    std::lock_guard lock(mutex_);
    exec("BEGIN IMMEDIATE");
    try {
        for (int v = from; v < to; ++v) {
            exec(migrations[v]);
        }
        exec(fmt::format("PRAGMA user_version = {}", to).c_str());
        exec("COMMIT");
    } catch (...) {
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
    if (from > 0) {
        log.notice("Migrated the library {} from schema {} to {}", path_.string(), from, to);
    }
}

template <typename F> auto SqliteDatabase::write(std::vector<Change> changes, F body) {
    using R = std::invoke_result_t<F&, std::vector<Change>&>;
    std::optional<std::conditional_t<std::is_void_v<R>, bool, R>> result;
    {
        std::lock_guard lock(mutex_);
        if (mode_ == Mode::readOnly) {
            fail(SQLITE_READONLY, "write");
        }
        exec("BEGIN IMMEDIATE");
        try {
            if constexpr (std::is_void_v<R>) {
                body(changes);
                result = true;
            } else {
                result = body(changes);
            }
            exec("COMMIT");
        } catch (...) {
            sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
            throw;
        }
    }
    for (const auto& change : changes) {
        changed.emit(change);
    }
    if constexpr (!std::is_void_v<R>) {
        return std::move(*result);
    }
}

bool SqliteDatabase::recordingExists(RecordingId id) {
    auto s = prepare("SELECT 1 FROM recordings WHERE id = ?");
    s.bind(1, id);
    return s.step();
}

// MARK: Recordings

std::vector<DatabaseManager::Recording> SqliteDatabase::allRecordings() {
    std::lock_guard lock(mutex_);
    auto sql = fmt::format("SELECT {} FROM recordings ORDER BY start_date DESC, id DESC", recordingColumns);
    auto s = prepare(sql.c_str());
    std::vector<Recording> out;
    while (s.step()) {
        out.push_back(readRecording(s));
    }
    return out;
}

std::optional<DatabaseManager::Recording> SqliteDatabase::recording(RecordingId id) {
    std::lock_guard lock(mutex_);
    auto sql = fmt::format("SELECT {} FROM recordings WHERE id = ?", recordingColumns);
    auto s = prepare(sql.c_str());
    s.bind(1, id);
    if (!s.step()) {
        return std::nullopt;
    }
    return readRecording(s);
}

namespace {
// Binds every column but the id, in `recordingColumns` order from index 1.
template <typename S> void bindRecording(S& s, const DatabaseManager::Recording& r) {
    s.bind(1, r.title)
        .bind(2, r.notes)
        .bind(3, static_cast<std::int64_t>(r.startDate.time_since_epoch().count()))
        .bind(4, r.duration)
        .bind(5, r.isFavorite)
        .bind(6, r.fileURL.string())
        .bind(7, pathText(r.videoFileURL))
        .bind(8, r.hasTranscript)
        .bind(9, r.calendarEventTitle)
        .bind(10, r.calendarEventNotes)
        .bind(11, r.meetingPlatform)
        .bind(12, joinParticipants(r.participants))
        .bind(13, r.summary)
        .bind(14, r.audioLeadTime)
        .bind(15, joinTracks(r.tracks))
        .bind(16, r.videoOffset);
}
} // namespace

RecordingId SqliteDatabase::insertRecording(const Recording& recording) {
    return write({}, [&](std::vector<Change>& changes) {
        auto s = prepare(
            "INSERT INTO recordings(title, notes, start_date, duration, is_favorite, file_path, "
            "video_path, has_transcript, event_title, event_notes, meeting_platform, participants, "
            "summary, audio_lead_time, tracks, video_offset) VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
        bindRecording(s, recording);
        s.run();
        RecordingId id = sqlite3_last_insert_rowid(db_);
        changes.push_back({ChangeKind::recordingAdded, id});
        return id;
    });
}

bool SqliteDatabase::updateRecording(const Recording& recording) {
    return write({}, [&](std::vector<Change>& changes) {
        auto s = prepare(
            "UPDATE recordings SET title = ?, notes = ?, start_date = ?, duration = ?, is_favorite = ?, "
            "file_path = ?, video_path = ?, has_transcript = ?, event_title = ?, event_notes = ?, "
            "meeting_platform = ?, participants = ?, summary = ?, audio_lead_time = ?, tracks = ?, "
            "video_offset = ? WHERE id = ?");
        bindRecording(s, recording);
        s.bind(17, recording.id);
        s.run();
        bool found = sqlite3_changes(db_) > 0;
        if (found) {
            changes.push_back({ChangeKind::recordingUpdated, recording.id});
        }
        return found;
    });
}

bool SqliteDatabase::deleteRecording(RecordingId id) {
    return write({}, [&](std::vector<Change>& changes) {
        auto s = prepare("DELETE FROM recordings WHERE id = ?");
        s.bind(1, id);
        s.run();
        bool found = sqlite3_changes(db_) > 0;
        if (found) {
            changes.push_back({ChangeKind::recordingDeleted, id});
        }
        return found;
    });
}

template <typename T> void SqliteDatabase::updateColumn(RecordingId id, const char* sql, const T& value) {
    write({}, [&](std::vector<Change>& changes) {
        prepare(sql).bind(1, value).bind(2, id).run();
        if (sqlite3_changes(db_) > 0) {
            changes.push_back({ChangeKind::recordingUpdated, id});
        }
    });
}

void SqliteDatabase::setFavorite(RecordingId id, bool isFavorite) {
    updateColumn(id, "UPDATE recordings SET is_favorite = ? WHERE id = ?", isFavorite);
}

std::optional<bool> SqliteDatabase::toggleFavorite(RecordingId id) {
    return write({}, [&](std::vector<Change>& changes) -> std::optional<bool> {
        auto s =
            prepare("UPDATE recordings SET is_favorite = 1 - is_favorite WHERE id = ? RETURNING is_favorite");
        s.bind(1, id);
        if (!s.step()) {
            return std::nullopt;
        }
        bool value = s.integer(0) != 0;
        s.run();
        changes.push_back({ChangeKind::recordingUpdated, id});
        return value;
    });
}

void SqliteDatabase::saveTitle(RecordingId id, const std::string& title) {
    updateColumn(id, "UPDATE recordings SET title = ? WHERE id = ?", title);
}

void SqliteDatabase::saveSummary(RecordingId id, const std::optional<std::string>& summary) {
    updateColumn(id, "UPDATE recordings SET summary = ? WHERE id = ?", summary);
}

void SqliteDatabase::saveNotes(RecordingId id, const std::optional<std::string>& notes) {
    updateColumn(id, "UPDATE recordings SET notes = ? WHERE id = ?", notes);
}

void SqliteDatabase::setVideoFile(RecordingId id, const std::optional<std::filesystem::path>& video) {
    updateColumn(id, "UPDATE recordings SET video_path = ? WHERE id = ?", pathText(video));
}

void SqliteDatabase::setAudioLeadTime(RecordingId id, std::optional<double> seconds) {
    updateColumn(id, "UPDATE recordings SET audio_lead_time = ? WHERE id = ?", seconds);
}

std::map<RecordingId, std::optional<double>>
SqliteDatabase::audioLeadTimes(const std::vector<RecordingId>& ids) {
    std::lock_guard lock(mutex_);
    std::map<RecordingId, std::optional<double>> out;
    auto s = prepare("SELECT audio_lead_time FROM recordings WHERE id = ?");
    for (auto id : ids) {
        s.reset();
        s.bind(1, id);
        out[id] = s.step() ? s.optionalReal(0) : std::nullopt;
    }
    return out;
}

// MARK: Transcript

int SqliteDatabase::segmentCount(RecordingId id) {
    std::lock_guard lock(mutex_);
    auto s = prepare("SELECT COUNT(*) FROM transcript_segments WHERE recording_id = ?");
    s.bind(1, id);
    return s.step() ? s.integer(0) : 0;
}

std::vector<DatabaseManager::TranscriptSegment> SqliteDatabase::segments(RecordingId id, int offset,
                                                                         int limit) {
    std::lock_guard lock(mutex_);
    auto s =
        prepare("SELECT id, recording_id, start_time, end_time, text, speaker, is_from_microphone "
                "FROM transcript_segments WHERE recording_id = ? ORDER BY start_time, id LIMIT ? OFFSET ?");
    s.bind(1, id).bind(2, limit < 0 ? -1 : limit).bind(3, std::max(offset, 0));
    std::vector<TranscriptSegment> out;
    while (s.step()) {
        out.push_back(readSegment(s));
    }
    return out;
}

std::vector<DatabaseManager::TranscriptSegment> SqliteDatabase::allSegments(RecordingId id) {
    return segments(id, 0, -1);
}

void SqliteDatabase::saveTranscript(RecordingId id, const std::vector<TranscriptSegment>& segments) {
    write({}, [&](std::vector<Change>& changes) {
        if (!recordingExists(id)) {
            return;
        }
        replaceChildRows(id, "transcript_segments",
                         "INSERT INTO transcript_segments(recording_id, start_time, end_time, text, speaker, "
                         "is_from_microphone) VALUES (?,?,?,?,?,?)",
                         segments, [](Statement& insert, const TranscriptSegment& seg) {
                             insert.bind(2, seg.startTime)
                                 .bind(3, seg.endTime)
                                 .bind(4, seg.text)
                                 .bind(5, seg.speaker)
                                 .bind(6, seg.isFromMicrophone);
                         });
        prepare("UPDATE recordings SET has_transcript = ? WHERE id = ?")
            .bind(1, !segments.empty())
            .bind(2, id)
            .run();
        changes.push_back({ChangeKind::transcriptChanged, id});
    });
}

// MARK: Topics and action items

std::vector<DatabaseManager::StoredTopic> SqliteDatabase::topics(RecordingId id) {
    std::lock_guard lock(mutex_);
    auto s = prepare("SELECT id, recording_id, title, start_time, end_time, summary FROM topics "
                     "WHERE recording_id = ? ORDER BY start_time, id");
    s.bind(1, id);
    std::vector<StoredTopic> out;
    while (s.step()) {
        out.push_back({s.int64(0), s.int64(1), s.text(2), s.real(3), s.real(4), s.optionalText(5)});
    }
    return out;
}

void SqliteDatabase::saveTopics(RecordingId id, const std::vector<StoredTopic>& topics) {
    write({}, [&](std::vector<Change>& changes) {
        if (!recordingExists(id)) {
            return;
        }
        replaceChildRows(
            id, "topics",
            "INSERT INTO topics(recording_id, title, start_time, end_time, summary) VALUES (?,?,?,?,?)",
            topics, [](Statement& insert, const StoredTopic& t) {
                insert.bind(2, t.title).bind(3, t.startTime).bind(4, t.endTime).bind(5, t.summary);
            });
        changes.push_back({ChangeKind::topicsChanged, id});
    });
}

std::vector<DatabaseManager::ActionItem> SqliteDatabase::actionItems(RecordingId id) {
    std::lock_guard lock(mutex_);
    auto s = prepare("SELECT id, recording_id, text, is_completed, assignee, position FROM action_items "
                     "WHERE recording_id = ? ORDER BY position, id");
    s.bind(1, id);
    std::vector<ActionItem> out;
    while (s.step()) {
        out.push_back(
            {s.int64(0), s.int64(1), s.text(2), s.integer(3) != 0, s.optionalText(4), s.integer(5)});
    }
    return out;
}

std::vector<DatabaseManager::ActionItem>
SqliteDatabase::saveActionItems(RecordingId id, const std::vector<std::string>& texts) {
    return write({}, [&](std::vector<Change>& changes) {
        if (!recordingExists(id)) {
            return std::vector<ActionItem>();
        }
        std::unordered_map<std::string, std::pair<bool, std::optional<std::string>>> kept;
        for (const auto& item : actionItems(id)) {
            kept.emplace(Support::Text::lowercased(item.text),
                         std::make_pair(item.isCompleted, item.assignee));
        }
        int position = 0;
        replaceChildRows(id, "action_items",
                         "INSERT INTO action_items(recording_id, text, is_completed, assignee, position) "
                         "VALUES (?,?,?,?,?)",
                         texts, [&](Statement& insert, const std::string& text) {
                             auto previous = kept.find(Support::Text::lowercased(text));
                             insert.bind(2, text).bind(5, position++);
                             if (previous != kept.end()) {
                                 insert.bind(3, previous->second.first).bind(4, previous->second.second);
                             } else {
                                 insert.bind(3, false).bind(4, std::optional<std::string>());
                             }
                         });
        changes.push_back({ChangeKind::actionItemsChanged, id});
        return actionItems(id);
    });
}

void SqliteDatabase::setActionItemCompleted(std::int64_t actionItemId, bool isCompleted) {
    write({}, [&](std::vector<Change>& changes) {
        auto s = prepare("UPDATE action_items SET is_completed = ? WHERE id = ? RETURNING recording_id");
        s.bind(1, isCompleted).bind(2, actionItemId);
        if (s.step()) {
            changes.push_back({ChangeKind::actionItemsChanged, s.int64(0)});
            s.run();
        }
    });
}

// MARK: Slides, screens, frame index

std::vector<DatabaseManager::Slide> SqliteDatabase::slides(RecordingId id) {
    std::lock_guard lock(mutex_);
    auto s = prepare("SELECT id, recording_id, time, image_name, text FROM slides WHERE recording_id = ? "
                     "ORDER BY time, id");
    s.bind(1, id);
    std::vector<Slide> out;
    while (s.step()) {
        out.push_back({s.int64(0), s.int64(1), s.real(2), s.text(3), s.text(4)});
    }
    return out;
}

void SqliteDatabase::saveSlides(RecordingId id, const std::vector<Slide>& slides) {
    write({}, [&](std::vector<Change>& changes) {
        if (!recordingExists(id)) {
            return;
        }
        replaceChildRows(id, "slides",
                         "INSERT INTO slides(recording_id, time, image_name, text) VALUES (?,?,?,?)", slides,
                         [](Statement& insert, const Slide& slide) {
                             insert.bind(2, slide.time).bind(3, slide.imageName).bind(4, slide.text);
                         });
        changes.push_back({ChangeKind::slidesChanged, id});
    });
}

std::vector<DatabaseManager::ScreenCapture> SqliteDatabase::screenCaptures(RecordingId id) {
    std::lock_guard lock(mutex_);
    auto s = prepare("SELECT id, recording_id, time, image_name, screen_text, label, is_featured, rank "
                     "FROM screen_captures WHERE recording_id = ? ORDER BY time, id");
    s.bind(1, id);
    std::vector<ScreenCapture> out;
    while (s.step()) {
        ScreenCapture c{s.int64(0), s.int64(1),        s.real(2),         s.text(3),
                        s.text(4),  s.optionalText(5), s.integer(6) != 0, std::nullopt};
        if (!s.isNull(7)) {
            c.rank = s.integer(7);
        }
        out.push_back(std::move(c));
    }
    return out;
}

void SqliteDatabase::saveScreenCaptures(RecordingId id, const std::vector<ScreenCapture>& captures) {
    write({}, [&](std::vector<Change>& changes) {
        if (!recordingExists(id)) {
            return;
        }
        replaceChildRows(id, "screen_captures",
                         "INSERT INTO screen_captures(recording_id, time, image_name, screen_text, label, "
                         "is_featured, rank) VALUES (?,?,?,?,?,?,?)",
                         captures, [](Statement& insert, const ScreenCapture& c) {
                             insert.bind(2, c.time)
                                 .bind(3, c.imageName)
                                 .bind(4, c.screenText)
                                 .bind(5, c.label)
                                 .bind(6, c.isFeatured)
                                 .bind(7, c.rank);
                         });
        changes.push_back({ChangeKind::screensChanged, id});
    });
}

void SqliteDatabase::updateScreenCapture(const ScreenCapture& capture) {
    write({}, [&](std::vector<Change>& changes) {
        auto s = prepare("UPDATE screen_captures SET label = ?, is_featured = ?, rank = ? WHERE id = ? "
                         "RETURNING recording_id");
        s.bind(1, capture.label).bind(2, capture.isFeatured).bind(3, capture.rank).bind(4, capture.id);
        if (s.step()) {
            changes.push_back({ChangeKind::screensChanged, s.int64(0)});
            s.run();
        }
    });
}

namespace {
template <typename S> std::set<RecordingId> idSet(S&& s) {
    std::set<RecordingId> out;
    while (s.step()) {
        out.insert(s.int64(0));
    }
    return out;
}
} // namespace

std::set<RecordingId> SqliteDatabase::recordingIdsWithSlides() {
    std::lock_guard lock(mutex_);
    return idSet(prepare("SELECT DISTINCT recording_id FROM slides"));
}

std::set<RecordingId> SqliteDatabase::recordingIdsWithScreenCaptures() {
    std::lock_guard lock(mutex_);
    return idSet(prepare("SELECT DISTINCT recording_id FROM screen_captures"));
}

std::vector<RecordingId> SqliteDatabase::recordingIdsWithUnlabelledFeaturedScreens() {
    std::lock_guard lock(mutex_);
    auto s =
        prepare("SELECT c.recording_id FROM screen_captures c JOIN recordings r ON r.id = c.recording_id "
                "WHERE c.is_featured = 1 AND c.label IS NULL GROUP BY c.recording_id "
                "ORDER BY MIN(r.start_date), c.recording_id");
    std::vector<RecordingId> out;
    while (s.step()) {
        out.push_back(s.int64(0));
    }
    return out;
}

void SqliteDatabase::addFrameIndexEntries(const std::vector<FrameIndexEntry>& entries) {
    write({}, [&](std::vector<Change>& changes) {
        auto insert = prepare("INSERT INTO frame_index(recording_id, time, text) "
                              "SELECT ?1, ?2, ?3 WHERE EXISTS (SELECT 1 FROM recordings WHERE id = ?1)");
        std::set<RecordingId> touched;
        for (const auto& e : entries) {
            insert.reset();
            insert.bind(1, e.recordingId).bind(2, e.time).bind(3, e.text).run();
            if (sqlite3_changes(db_) > 0) {
                touched.insert(e.recordingId);
            }
        }
        for (auto id : touched) {
            changes.push_back({ChangeKind::frameIndexChanged, id});
        }
    });
}

std::vector<DatabaseManager::FrameIndexEntry> SqliteDatabase::frameIndex(RecordingId id) {
    std::lock_guard lock(mutex_);
    auto s =
        prepare("SELECT recording_id, time, text FROM frame_index WHERE recording_id = ? ORDER BY time, id");
    s.bind(1, id);
    std::vector<FrameIndexEntry> out;
    while (s.step()) {
        out.push_back({s.int64(0), s.real(1), s.text(2)});
    }
    return out;
}

void SqliteDatabase::deleteFrameIndex(RecordingId id) {
    write({}, [&](std::vector<Change>& changes) {
        prepare("DELETE FROM frame_index WHERE recording_id = ?").bind(1, id).run();
        if (sqlite3_changes(db_) > 0) {
            changes.push_back({ChangeKind::frameIndexChanged, id});
        }
    });
}

// MARK: Search

std::string SqliteDatabase::ftsQuery(const std::string& text) {
    // Each piece between white space becomes a quoted phrase with a prefix star: quoting makes every
    // character literal to the FTS5 query parser (no column filters, operators or syntax errors), and the
    // tokenizer then splits the phrase exactly as it split the indexed text.
    std::vector<std::string> terms;
    std::string piece;
    auto flush = [&] {
        bool hasWordCharacter = false;
        for (unsigned char c : piece) {
            if (c >= 0x80 || std::isalnum(c)) {
                hasWordCharacter = true;
                break;
            }
        }
        if (hasWordCharacter && terms.size() < 16) {
            terms.push_back("\"" + Support::Text::replacingAll(piece, "\"", "\"\"") + "\"*");
        }
        piece.clear();
    };
    const std::string valid = Support::Text::sanitizedUTF8(text);
    std::size_t pos = 0;
    while (pos < valid.size()) {
        std::size_t start = pos;
        char32_t c = Support::Text::decodeNext(valid, pos);
        if (Support::Text::isWhitespace(c) || Support::Text::isNewline(c)) {
            flush();
        } else {
            piece.append(valid, start, pos - start);
        }
    }
    flush();
    return Support::Text::joined(terms, " ");
}

std::vector<DatabaseManager::TranscriptMatch> SqliteDatabase::searchTranscripts(const std::string& query,
                                                                                int limit) {
    std::vector<TranscriptMatch> out;
    const auto match = ftsQuery(query);
    if (match.empty() || limit <= 0) {
        return out;
    }
    std::lock_guard lock(mutex_);
    // Scores ordered by SQLite's own sorter keep only the best `limit` rows as it goes; "ORDER BY rank" makes
    // FTS5 score and sort every match in a nested query first, which costs a third more for a common word.
    // passage_rank() gives bm25()'s scores from lengths held in memory. Same order either way (ties by id).
    if (hasPassageRank_) {
        passageRank_.prepare(db_);
    }
    const std::string sql =
        fmt::format("SELECT s.recording_id, s.id, s.start_time, s.text, s.speaker, f.score FROM "
                    "(SELECT rowid, {}(segments_fts) AS score FROM segments_fts WHERE segments_fts MATCH ? "
                    "ORDER BY score, rowid LIMIT ?) f "
                    "JOIN transcript_segments s ON s.id = f.rowid ORDER BY f.score, s.id",
                    hasPassageRank_ ? "passage_rank" : "bm25");
    auto s = prepare(sql.c_str());
    s.bind(1, match).bind(2, limit);
    while (s.step()) {
        out.push_back({s.int64(0), s.int64(1), s.real(2), s.text(3), s.text(4), s.real(5)});
    }
    return out;
}

std::vector<RecordingId> SqliteDatabase::searchRecordings(const std::string& query, int limit) {
    std::vector<RecordingId> out;
    const auto match = ftsQuery(query);
    if (match.empty() || limit <= 0) {
        return out;
    }
    std::lock_guard lock(mutex_);
    // Title and notes matches rank before transcript matches; within each, by bm25.
    auto s = prepare(
        "SELECT id FROM ("
        " SELECT rowid AS id, 0 AS tier, rank AS score FROM recordings_fts WHERE recordings_fts MATCH ?1"
        " UNION ALL"
        " SELECT t.recording_id, 1, f.rank FROM segments_fts f"
        " JOIN transcript_segments t ON t.id = f.rowid WHERE segments_fts MATCH ?1"
        ") GROUP BY id ORDER BY MIN(tier), MIN(score), id LIMIT ?2");
    s.bind(1, match).bind(2, limit);
    while (s.step()) {
        out.push_back(s.int64(0));
    }
    return out;
}

} // namespace Database
