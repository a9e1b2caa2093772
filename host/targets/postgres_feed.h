// host/targets/postgres_feed.h - a connection that takes rows by COPY, and never keeps the others waiting.
//
//     Begin        BEGIN, unless the transaction runs already
//     From         the rows that follow are those of an instance; starts the COPY
//     Reserve, Use room for a row, and what it took of it
//     Pump         hands the server what it takes at once
//     End          waits until the server has every row and has said what became of them
//
// Rows are collected in chunks. libpq gets one when it has sent the one before, because its own buffer is
// moved to the front each time that a part of it was sent.
//
// Until a COPY ends the server says nothing but what went wrong, and libpq keeps that to itself for as long as
// rows are sent. So when something comes, the COPY is ended to hear it.

#ifndef FENWIRE_HOST_TARGETS_POSTGRES_FEED_H
#define FENWIRE_HOST_TARGETS_POSTGRES_FEED_H

#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/postgres/postgres_connection.h"

namespace fenwire {

// A row as an instance counts them, from 1; instance 0: not known which.
struct PostgresOrigin {
    int instance = 0;
    uint64_t row = 0;
};

// The server refused a row; what it said.
struct PostgresRefusal {
    PostgresOrigin origin;
    std::string state, words;
};

class PostgresFeed {
public:
    // stalled: called once in a while when the server does not go on; may throw.
    PostgresFeed(const std::string &connection, std::function<void()> stalled);

    PostgresConnection &connection() { return connection_; }
    bool in_transaction() const { return in_transaction_; }
    void Begin();
    // Ends the transaction by COMMIT or PREPARE TRANSACTION, and knows that both may answer with a rollback.
    void Finish(const std::string &sql);

    // How COPY begins, and what stands in front of its rows and behind them.
    void Prepare(std::string table, std::string copy, std::string_view head, std::string_view tail);

    // Throws PostgresRefusal, TargetError.
    void From(int instance, uint64_t first_row);
    char *Reserve(size_t bytes);
    void Use(const char *end);
    void Pump();
    bool pending() const { return !chunks_.empty(); }
    bool full() const { return chunks_.size() > kMostChunks; }
    void Flush();  // sends what was collected, without waiting
    void AskForEnd();
    uint64_t End();  // rows that are in the table since the last End
    void Cancel() noexcept;

    // Sleeps until one of the feeds can send, or has something to say, and pumps them all.
    static void WaitForAny(std::span<const std::unique_ptr<PostgresFeed>> feeds);

private:
    static constexpr int kStalledMs = 1000;
    static constexpr size_t kChunkBytes = 128 << 10, kMostChunks = 32;
    static constexpr size_t kMostSpans = 100'000;

    struct Chunk {
        std::unique_ptr<char[]> bytes;
        size_t size = 0, used = 0;
    };
    struct Span {
        uint64_t line;  // of the COPY, from 1
        PostgresOrigin origin;
    };

    void StartCopy();
    void Append(std::string_view bytes);
    Chunk NewChunk(size_t bytes);
    bool Heard() const;
    void WaitToSend();
    PostgresResult NextResult();
    void FinishCopy();
    [[noreturn]] void Broken();
    [[noreturn]] void Refused(const PostgresResult &result) const;
    PostgresOrigin OriginOf(std::string_view context) const;

    PostgresConnection connection_;
    std::function<void()> stalled_;
    std::string table_, copy_;
    std::string_view head_, tail_;
    bool in_transaction_ = false, copying_ = false, end_asked_ = false;
    Chunk open_;                // takes rows
    std::deque<Chunk> chunks_;  // wait to be sent
    std::vector<Chunk> spare_;
    std::vector<Span> spans_;
    uint64_t lines_ = 0, rows_ = 0;
};

}  // namespace fenwire

#endif
