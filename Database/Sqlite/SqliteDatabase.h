// The recordings store in one SQLite file, by default `library.sqlite` in the data folder
// ($XDG_DATA_HOME/vellmora/). Used by the host, the command line and the MCP server (read-only).
//
// - WAL journal, foreign keys on: deleting a recording cascades to its segments, topics, action items,
//   slides, screens and frame index.
// - The schema version is `PRAGMA user_version`. Opening an older file migrates it forward in one
//   transaction (migrations only create tables and add columns, so no row is ever lost); a file written by
//   a newer version is refused with `DatabaseError::Kind::newerVersion` and not written to at all.
// - A file that is not a database, or that SQLite finds damaged, is reported as
//   `DatabaseError::Kind::corrupt` and never rewritten.
// - FTS5 indexes (unicode61, diacritics removed) over titles and notes and over transcript text are kept in
//   step with their tables by triggers. Transcript matches rank with bm25's scores computed from segment
//   lengths held in memory (`PassageRank`).
// - Read-only mode never creates, migrates or writes; every write then throws `Kind::readOnly`.
// - One connection guarded by a mutex: safe from any thread, one call at a time.
// ":memory:" opens a private in-memory database (tests).
#pragma once

#include "Database/DatabaseManager.h"
#include "Database/Sqlite/PassageRank.h"

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>

struct sqlite3;

namespace Database {

class SqliteDatabase final : public DatabaseManager {
public:
    enum class Mode { readWrite, readOnly };
    struct Options {
        Mode mode = Mode::readWrite;
        /// Stop migrating at this schema version (to build old files in migration tests).
        std::optional<int> migrateUpTo;
    };

    /// The newest schema this build reads and writes.
    static constexpr int schemaVersion = 5;

    /// `library.sqlite` in the data folder.
    static std::filesystem::path defaultPath();

    /// Opens (creating when missing in read-write mode) and migrates the file. Throws `DatabaseError`.
    explicit SqliteDatabase(const std::filesystem::path& path = defaultPath());
    SqliteDatabase(const std::filesystem::path& path, Options options);
    ~SqliteDatabase() override;
    SqliteDatabase(const SqliteDatabase&) = delete;
    SqliteDatabase& operator=(const SqliteDatabase&) = delete;

    const std::filesystem::path& path() const { return path_; }
    /// The schema version of the open file.
    int userVersion();

    std::vector<Recording> allRecordings() override;
    std::optional<Recording> recording(RecordingId id) override;
    RecordingId insertRecording(const Recording& recording) override;
    bool updateRecording(const Recording& recording) override;
    bool deleteRecording(RecordingId id) override;
    void setFavorite(RecordingId id, bool isFavorite) override;
    std::optional<bool> toggleFavorite(RecordingId id) override;
    void saveTitle(RecordingId id, const std::string& title) override;
    void saveSummary(RecordingId id, const std::optional<std::string>& summary) override;
    void saveNotes(RecordingId id, const std::optional<std::string>& notes) override;
    void setVideoFile(RecordingId id, const std::optional<std::filesystem::path>& video) override;
    void setAudioLeadTime(RecordingId id, std::optional<double> seconds) override;
    std::map<RecordingId, std::optional<double>> audioLeadTimes(const std::vector<RecordingId>& ids) override;

    int segmentCount(RecordingId id) override;
    std::vector<TranscriptSegment> segments(RecordingId id, int offset, int limit) override;
    std::vector<TranscriptSegment> allSegments(RecordingId id) override;
    void saveTranscript(RecordingId id, const std::vector<TranscriptSegment>& segments) override;

    std::vector<StoredTopic> topics(RecordingId id) override;
    void saveTopics(RecordingId id, const std::vector<StoredTopic>& topics) override;
    std::vector<ActionItem> actionItems(RecordingId id) override;
    std::vector<ActionItem> saveActionItems(RecordingId id, const std::vector<std::string>& texts) override;
    void setActionItemCompleted(std::int64_t actionItemId, bool isCompleted) override;

    std::vector<Slide> slides(RecordingId id) override;
    void saveSlides(RecordingId id, const std::vector<Slide>& slides) override;
    std::vector<ScreenCapture> screenCaptures(RecordingId id) override;
    void saveScreenCaptures(RecordingId id, const std::vector<ScreenCapture>& captures) override;
    void updateScreenCapture(const ScreenCapture& capture) override;
    std::set<RecordingId> recordingIdsWithSlides() override;
    std::set<RecordingId> recordingIdsWithScreenCaptures() override;
    std::vector<RecordingId> recordingIdsWithUnlabelledFeaturedScreens() override;
    void addFrameIndexEntries(const std::vector<FrameIndexEntry>& entries) override;
    std::vector<FrameIndexEntry> frameIndex(RecordingId id) override;
    void deleteFrameIndex(RecordingId id) override;

    std::vector<TranscriptMatch> searchTranscripts(const std::string& query, int limit) override;
    std::vector<RecordingId> searchRecordings(const std::string& query, int limit) override;

    /// The FTS5 query for a user's search text: each word quoted as a prefix, all required; empty when the
    /// text has no word.
    static std::string ftsQuery(const std::string& text);

private:
    class Statement;
    void open(Options options);
    void migrate(int from, int to);
    void exec(const char* sql);
    [[noreturn]] void fail(int code, const std::string& what);
    Statement prepare(const char* sql);
    bool recordingExists(RecordingId id);
    /// Inside a write: replaces the rows of `table` that belong to recording `id` with one row per item of
    /// `rows`. `insertSql` takes the recording id as its first parameter; `bindRow(statement, row)` binds
    /// the others.
    template <typename Row, typename BindRow>
    void replaceChildRows(RecordingId id, const char* table, const char* insertSql,
                          const std::vector<Row>& rows, BindRow bindRow);
    /// Runs `body` in a write transaction under the lock, then emits `changes`.
    template <typename F> auto write(std::vector<Change> changes, F body);
    /// Sets one column of recording `id` with `sql` ("UPDATE recordings SET column = ? WHERE id = ?") and
    /// reports the recording as updated when it exists.
    template <typename T> void updateColumn(RecordingId id, const char* sql, const T& value);

    std::filesystem::path path_;
    Mode mode_ = Mode::readWrite;
    sqlite3* db_ = nullptr;
    std::recursive_mutex mutex_;
    PassageRank passageRank_;
    bool hasPassageRank_ = false;
};

} // namespace Database
