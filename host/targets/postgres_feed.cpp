// host/targets/postgres_feed.cpp

#include "host/targets/postgres_feed.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <fmt/format.h>
#include <poll.h>
#include <utility>

#include "host/targets/target.h"

namespace fenwire {

PostgresFeed::PostgresFeed(const std::string &connection, std::function<void()> stalled)
    : connection_(connection, PostgresConnection::Access::Write), stalled_(std::move(stalled))
{
}

void PostgresFeed::Begin()
{
    if (!in_transaction_)
        connection_.Run("BEGIN");
    in_transaction_ = true;
}

void PostgresFeed::Finish(const std::string &sql)
{
    const PostgresResult result = connection_.Run(sql);
    in_transaction_ = false;
    const std::string_view tag = PQcmdStatus(result.get());
    if (tag == "ROLLBACK")
        connection_.Throw(fmt::format("{}: the server undid the rows instead of keeping them",
                                      connection_.shown()));
}

void PostgresFeed::Prepare(std::string table, std::string copy, std::string_view head,
                           std::string_view tail)
{
    table_ = std::move(table);
    copy_ = std::move(copy);
    head_ = head;
    tail_ = tail;
}

// ---- Rows ---------------------------------------------------------------------------------------

void PostgresFeed::StartCopy()
{
    Begin();
    connection_.Run(copy_);
    PQsetnonblocking(connection_.get(), 1);
    copying_ = true;
    end_asked_ = false;
    lines_ = 0;
    spans_.clear();
    Append(head_);
}

void PostgresFeed::From(int instance, uint64_t first_row)
{
    if (copying_ && Heard())
        FinishCopy();
    if (copying_ && spans_.size() >= kMostSpans)
        FinishCopy();
    if (!copying_)
        StartCopy();
    if (spans_.empty() || spans_.back().origin.instance != instance)
        spans_.push_back({lines_ + 1, {instance, first_row}});
}

PostgresFeed::Chunk PostgresFeed::NewChunk(size_t bytes)
{
    if (bytes <= kChunkBytes && !spare_.empty()) {
        Chunk chunk = std::move(spare_.back());
        spare_.pop_back();
        return chunk;
    }
    const size_t size = std::max(bytes, kChunkBytes);
    return {std::unique_ptr<char[]>(new char[size]), size, 0};
}

char *PostgresFeed::Reserve(size_t bytes)
{
    if (open_.size - open_.used < bytes) {
        Flush();
        open_ = NewChunk(bytes);
    }
    return open_.bytes.get() + open_.used;
}

void PostgresFeed::Use(const char *end)
{
    open_.used = static_cast<size_t>(end - open_.bytes.get());
    ++lines_;
}

void PostgresFeed::Append(std::string_view bytes)
{
    if (bytes.empty())
        return;  // text has no head
    char *const to = Reserve(bytes.size() + 1);
    memcpy(to, bytes.data(), bytes.size());
    open_.used += bytes.size();
}

void PostgresFeed::Flush()
{
    if (open_.used > 0)
        chunks_.push_back(std::exchange(open_, {}));
}

void PostgresFeed::Pump()
{
    PGconn *const server = connection_.get();
    for (;;) {
        const int rest = PQflush(server);
        if (rest < 0)
            Broken();
        if (rest > 0 || chunks_.empty())
            return;
        Chunk &chunk = chunks_.front();
        const int taken = PQputCopyData(server, chunk.bytes.get(), static_cast<int>(chunk.used));
        if (taken < 0)
            Broken();
        if (taken == 0)
            return;
        chunk.used = 0;
        if (chunk.size == kChunkBytes && spare_.size() < 2)
            spare_.push_back(std::move(chunk));
        chunks_.pop_front();
    }
}

bool PostgresFeed::Heard() const
{
    pollfd file{PQsocket(connection_.get()), POLLIN, 0};
    return poll(&file, 1, 0) > 0;
}

void PostgresFeed::WaitForAny(std::span<const std::unique_ptr<PostgresFeed>> feeds)
{
    std::vector<pollfd> files;
    for (const auto &feed : feeds) {
        if (feed->pending())
            files.push_back({PQsocket(feed->connection_.get()), POLLOUT, 0});
    }
    if (poll(files.data(), files.size(), kStalledMs) == 0)
        feeds.front()->stalled_();
    for (const auto &feed : feeds) {
        if (feed->pending())
            feed->Pump();
    }
}

// ---- The end of a COPY --------------------------------------------------------------------------

// What comes in meanwhile must be taken, or both sides would wait for the other one to read.
void PostgresFeed::WaitToSend()
{
    pollfd file{PQsocket(connection_.get()), POLLOUT | POLLIN, 0};
    if (poll(&file, 1, kStalledMs) == 0)
        stalled_();
    if ((file.revents & POLLIN) != 0)
        PQconsumeInput(connection_.get());
}

// Once the rows are sent the server works on its own, so all feeds are asked before one is waited for.
void PostgresFeed::AskForEnd()
{
    if (!copying_ || end_asked_)
        return;
    Append(tail_);
    Flush();
    for (Pump(); pending(); Pump())
        WaitToSend();
    int done = 0;
    while ((done = PQputCopyEnd(connection_.get(), nullptr)) == 0)
        WaitToSend();
    if (done < 0)
        Broken();
    int rest = 0;
    while ((rest = PQflush(connection_.get())) > 0)
        WaitToSend();
    if (rest < 0)
        Broken();
    end_asked_ = true;
}

PostgresResult PostgresFeed::NextResult()
{
    PGconn *const server = connection_.get();
    while (PQisBusy(server) != 0) {
        pollfd file{PQsocket(server), POLLIN, 0};
        if (poll(&file, 1, kStalledMs) == 0)
            stalled_();
        else if (PQconsumeInput(server) == 0)
            break;
    }
    return PostgresResult(PQgetResult(server));
}

void PostgresFeed::FinishCopy()
{
    if (!copying_)
        return;
    AskForEnd();
    copying_ = false;
    const PostgresResult first = NextResult();
    while (NextResult().get() != nullptr) {
    }
    PQsetnonblocking(connection_.get(), 0);
    if (first.status() != PGRES_COMMAND_OK)
        Refused(first);
    rows_ += first.RowsChanged();
}

uint64_t PostgresFeed::End()
{
    FinishCopy();
    return std::exchange(rows_, 0);
}

void PostgresFeed::Broken()
{
    // The server's last words lie in front of the end of the connection.
    PQconsumeInput(connection_.get());
    PostgresResult last(PQgetResult(connection_.get()));
    copying_ = false;
    Refused(last);
}

void PostgresFeed::Refused(const PostgresResult &result) const
{
    const PostgresOrigin origin = OriginOf(result.Context());
    if (origin.instance == 0 || connection_.broken())
        connection_.Fail(result);
    throw PostgresRefusal{origin, std::string(result.State()), connection_.Words(result)};
}

// "COPY orders, line 17, column amount: ..", in the server's language; what a trigger says stands above it.
PostgresOrigin PostgresFeed::OriginOf(std::string_view context) const
{
    const std::string begin = fmt::format("COPY {}, ", table_);
    size_t at = context.starts_with(begin) ? 0 : context.find("\n" + begin);
    if (at == std::string_view::npos)
        return {};
    at = context.find_first_of("0123456789", at + begin.size());
    if (at == std::string_view::npos)
        return {};
    uint64_t line = 0;
    std::from_chars(context.data() + at, context.data() + context.size(), line);
    const auto behind = std::ranges::upper_bound(spans_, line, {}, &Span::line);
    if (behind == spans_.begin() || line > lines_)
        return {};
    const Span &span = *(behind - 1);
    return {span.origin.instance, span.origin.row + (line - span.line)};
}

void PostgresFeed::Cancel() noexcept
{
    if (!copying_)
        return;
    char words[256];
    PGcancel *const cancel = PQgetCancel(connection_.get());
    if (cancel != nullptr)
        PQcancel(cancel, words, sizeof words);
    PQfreeCancel(cancel);
}

}  // namespace fenwire
