// host/targets/postgres_target.cpp - rows into a table of a PostgreSQL database.
//
//     Open     settles what a crash left; makes the table or compares it, empties it when asked
//     Put      COPY, over as many connections as the job wants, each with its share of the instances
//     Settle   ends each COPY and hears what the server has refused
//     Commit   rows and generation, together
//     Abort    closes the connections, which undoes what they did
//
// One connection does everything in one transaction. Several ones commit in two phases where the server has
// room for prepared transactions (postgres_checkpoints.h); where it has none, their rows are committed
// before the generation, so that none is lost, but some may come twice.
//
// A table that is emptied first would keep several connections from each other: TRUNCATE locks all others
// out, and behind a DELETE a row waits for the end of the one that had its key. So rows go over the connection
// that emptied the table until that is committed, unless the table has no keys and DELETE hurts nobody.

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "host/checkpoint/run_state.h"
#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/targets/kinds.h"
#include "host/targets/postgres_checkpoints.h"
#include "host/targets/postgres_encoder.h"
#include "host/targets/postgres_feed.h"
#include "host/targets/postgres_place.h"

namespace fenwire {

namespace {

using PostgresAccess = PostgresConnection::Access;

// clang-format off
constexpr struct {
    std::string_view state;  // SQLSTATE, or its first characters
    const char *remedy;
} kPostgresRowFaults[] = {
    {"23505", "a row with this key is in the table already, or came earlier in this job"},
    {"23502", "the column takes no NULL; give it a value, or let the table allow NULL"},
    {"23503", "the row refers to one that is not there"},
    {"23514", "the table's own rule refuses the row"},
    {"22001", "the value is longer than the column"},
    {"22003", "the number is too large for the column"},
    {"22021", "check that charset in [job] is that of the files"},
    {"22P05", "the database has another character set, which lacks this character"},
    {"22",    "the column can't read the value; see to the files, or give the column another type"},
};
// clang-format on

const char *RemedyFor(std::string_view state)
{
    for (const auto &fault : kPostgresRowFaults) {
        if (state.starts_with(fault.state))
            return fault.remedy;
    }
    return "the table refuses the row";
}

class PostgresTarget final : public Target {
public:
    explicit PostgresTarget(const Job &job)
        : job_(job), where_(PostgresConnectionOf(job)), name_(PostgresTableOf(job)),
          create_(SettingOr(job.target, "create", true)),
          rehome_(SettingOr(job.target, "replace", false)), count_(PostgresConnectionsOf(job)),
          encoder_(job)
    {
    }
    ~PostgresTarget() override { Abort(); }

    void Check() override
    {
        PostgresConnection connection(where_, PostgresAccess::Write);
        PostgresCheckpoints(job_, connection).RequireRights(connection);
        connection.Run("BEGIN");  // and never a commit: what is made here goes with the connection
        // Never unlogged: a server that crashes behind an undone one may not start any more, since the
        // table's empty file is in the way of its recovery.
        if (!FindPostgresTable(connection, name_))
            MakeTable(connection, false);
        FindTable(connection);
    }

    void Open(Start start) override
    {
        try {
            Begin(start);
        } catch (...) {
            Abort();
            throw;
        }
    }

    std::string WhyNotExactlyOnce() const override
    {
        if (count_ == 1 || two_phases_)
            return {};
        return fmt::format(
            "table {} is loaded over {} connections, and the server has no room for {} prepared "
            "transactions: rows that were committed shortly before a crash may come twice; set "
            "connections = 1 in [target], or max_prepared_transactions = {} or more on the server",
            table_->name.Words(), count_, count_, count_);
    }

    void Put(int instance, const RowBatch &rows) override
    {
        const auto index = static_cast<size_t>(instance);
        if (rows_of_.size() <= index)
            rows_of_.resize(index + 1);
        PostgresFeed &feed = FeedOf(index);
        Guarded([&] {
            feed.From(instance, rows_of_[index] + 1);
            rows.ForEach([&](const RowRecord &row) {
                feed.Use(Encoded(instance, row, feed.Reserve(encoder_.Room(row))));
                ++rows_of_[index];
                report_.bytes += row.data_bytes();
            });
            feed.Pump();
            while (feed.full())
                PostgresFeed::WaitForAny(feeds_);
        });
    }

    uint64_t Settle() override
    {
        Guarded([&] {
            for (const auto &feed : feeds_)
                feed->AskForEnd();
            for (const auto &feed : feeds_)
                report_.rows += feed->End();
        });
        uint64_t given = 0;
        for (const uint64_t rows : rows_of_)
            given += rows;
        report_.refused = given - std::min(given, report_.rows);
        return report_.refused;
    }

    TargetReport Commit(const StoredGeneration *generation) override
    {
        Settle();
        std::vector<PostgresFeed *> busy;
        for (const auto &feed : feeds_) {
            if (feed->in_transaction())
                busy.push_back(feed.get());
        }
        made_table_ = false;
        if (busy.size() > 1 && two_phases_)
            CommitInTwoPhases(busy, generation);
        else
            CommitInTurn(busy, generation);
        ForEachSession([&](PostgresConnection &session) { checkpoints_->LetGo(session); });
        alone_ = false;
        if (report_.refused > 0)
            report_.note =
                fmt::format("{} rows left out by triggers of the table", report_.refused);
        return report_;
    }

    void GoOn() override
    {
        ForEachSession([&](PostgresConnection &session) { checkpoints_->Hold(session); });
    }

    void Abort() noexcept override
    {
        try {
            for (const auto &feed : feeds_)
                feed->Cancel();
            feeds_.clear();
            UndoPrepared();
            DropMadeTable();
        } catch (const std::exception &) {  // the next run of the job settles what is left
        }
        control_.reset();
    }

private:
    void Begin(Start start)
    {
        report_ = {};
        rows_of_.clear();
        control_.emplace(where_, PostgresAccess::Write);
        checkpoints_.emplace(job_, *control_);
        checkpoints_->RequireRights(*control_);
        checkpoints_->Settle(*control_);
        two_phases_ = count_ > 1 && control_->Value("SELECT current_setting('max_prepared_"
                                                    "transactions')::int >= $1::int",
                                                    {std::to_string(count_)}) == "t";
        for (size_t i = 0; i < count_; ++i) {
            feeds_.push_back(std::make_unique<PostgresFeed>(where_, [this] { LookForDeadlock(); }));
        }
        GoOn();
        if (!FindPostgresTable(*control_, name_))
            MakeMissingTable(start);
        PostgresConnection &first = feeds_.front()->connection();
        const std::vector<const PostgresColumn *> columns = FindTable(first);
        encoder_.Begin(columns);
        for (const auto &feed : feeds_)
            feed->Prepare(table_->name.table, PostgresCopySql(*table_, columns, encoder_.binary()),
                          encoder_.Head(), encoder_.Tail());
        if (rehome_ && start == Start::Anew)
            Empty();
        if (count_ == 1)
            control_.reset();  // there is nothing to control
    }

    // Several connections see a table only when it is committed.
    void MakeMissingTable(Start start)
    {
        if (start == Start::Again)
            throw TargetError(fmt::format("table {} is gone, and with it the rows that the job had "
                                          "loaded; begin anew with --fresh",
                                          name_.Words()));
        if (count_ == 1)
            feeds_.front()->Begin();
        MakeTable(feeds_.front()->connection(), SettingOr(job_.target, "unlogged", false));
        made_table_ = count_ > 1;
    }

    void MakeTable(PostgresConnection &connection, bool unlogged)
    {
        if (!create_)
            throw TargetError(NoPostgresTable(connection, name_) + "; create = true would make it");
        CreatePostgresTable(connection, job_, unlogged);
    }

    // The columns point into table_.
    std::vector<const PostgresColumn *> FindTable(PostgresConnection &connection)
    {
        table_ = FindPostgresTable(connection, name_);
        if (!table_)
            throw TargetError(NoPostgresTable(connection, name_));
        return ComparePostgresTable(connection, *table_, job_);
    }

    void Empty()
    {
        PostgresFeed &first = *feeds_.front();
        const PostgresEmptying emptying = PostgresEmptyingOf(first.connection(), *table_);
        alone_ = count_ > 1 && emptying.has_keys;
        first.Begin();
        const bool truncate = emptying.may_truncate && (count_ == 1 || alone_);
        first.connection().Run((truncate ? "TRUNCATE " : "DELETE FROM ") + table_->name.Sql());
    }

    template <class Work>
    void ForEachSession(Work &&work)
    {
        for (const auto &feed : feeds_)
            work(feed->connection());
        if (control_)
            work(*control_);
    }

    PostgresFeed &FeedOf(size_t instance)
    {
        return *feeds_[alone_ || instance == 0 ? 0 : (instance - 1) % feeds_.size()];
    }

    char *Encoded(int instance, const RowRecord &row, char *to)
    {
        try {
            return encoder_.Put(row, to);
        } catch (const PostgresMisfit &misfit) {
            throw TargetError(
                fmt::format("table {} can't take row {} of instance {}: {}", table_->name.Words(),
                            rows_of_[static_cast<size_t>(instance)] + 1, instance, misfit.words));
        }
    }

    template <class Work>
    void Guarded(Work &&work)
    {
        try {
            work();
        } catch (const PostgresRefusal &refusal) {
            throw TargetError(fmt::format("table {} refuses row {} of instance {}: {}: {}",
                                          table_->name.Words(), refusal.origin.row,
                                          refusal.origin.instance, refusal.words,
                                          RemedyFor(refusal.state)));
        }
    }

    // A key that comes twice, by way of two connections: the second one waits for the first to end its
    // transaction, and the first one for more rows, or for the commit.
    void LookForDeadlock()
    {
        if (count_ == 1)
            return;
        std::string ours;
        for (const auto &feed : feeds_)
            ours += fmt::format("{}{}", ours.empty() ? "{" : ",",
                                PQbackendPID(feed->connection().get()));
        ours += '}';
        if (control_->Value("SELECT bool_or(pg_blocking_pids(pid) && $1::int[]) FROM "
                            "unnest($1::int[]) pid",
                            {ours}) != "t")
            return;
        throw TargetError(fmt::format(
            "table {}: a row of one connection has the same key as one of another connection, and "
            "waits for it: this key comes twice in the job; connections = 1 in [target] tells "
            "which row it is",
            table_->name.Words()));
    }

    // ---- Commits ------------------------------------------------------------------------------------

    // The last one takes the generation with it; when nobody has anything, it goes alone.
    void CommitInTurn(const std::vector<PostgresFeed *> &busy, const StoredGeneration *generation)
    {
        for (size_t i = 0; i + 1 < busy.size(); ++i)
            busy[i]->Finish("COMMIT");
        if (busy.empty() && generation == nullptr)
            return;
        PostgresFeed &last = busy.empty() ? *feeds_.front() : *busy.back();
        last.Begin();
        if (generation != nullptr)
            checkpoints_->Store(last.connection(), *generation);
        last.Finish("COMMIT");
    }

    void CommitInTwoPhases(const std::vector<PostgresFeed *> &busy,
                           const StoredGeneration *generation)
    {
        const std::string run = generation != nullptr ? generation->run : NewRunId();
        const uint64_t number = generation != nullptr ? generation->number : 0;
        for (size_t i = 0; i < busy.size(); ++i) {
            prepared_.push_back(checkpoints_->Prepared(run, number, i));
            busy[i]->Finish("PREPARE TRANSACTION " + prepared_.back());
        }
        if (generation != nullptr) {
            control_->Run("BEGIN");
            checkpoints_->Store(*control_, *generation);
        }
        // Behind the decision nothing may be undone, whatever happens.
        const std::vector<std::string> decided = std::exchange(prepared_, {});
        if (generation != nullptr)
            control_->Run("COMMIT");
        for (const std::string &name : decided)
            control_->Run("COMMIT PREPARED " + name);
    }

    void UndoPrepared()
    {
        if (prepared_.empty() || !control_)
            return;
        control_->Try("ROLLBACK");
        for (const std::string &name : std::exchange(prepared_, {}))
            control_->Try("ROLLBACK PREPARED " + name);
    }

    // What Open made, as long as nothing is in it.
    void DropMadeTable()
    {
        if (!made_table_ || !control_ || control_->broken())
            return;
        made_table_ = false;
        control_->Try("SET lock_timeout = '5s'");
        control_->Try("DROP TABLE " + name_.Sql());
    }

    Job job_;
    std::string where_;
    PostgresName name_;
    bool create_, rehome_;
    size_t count_;
    PostgresEncoder encoder_;
    std::optional<PostgresTable> table_;
    std::optional<PostgresCheckpoints> checkpoints_;
    std::optional<PostgresConnection> control_;
    std::vector<std::unique_ptr<PostgresFeed>> feeds_;
    bool two_phases_ = false;
    bool made_table_ = false;            // committed already, and nothing else is
    bool alone_ = false;                 // the first connection takes all rows until the commit
    std::vector<std::string> prepared_;  // and not decided
    std::vector<uint64_t> rows_of_;      // given, by instance
    TargetReport report_;
};

}  // namespace

std::unique_ptr<Target> MakePostgresTarget(const Job &job)
{
    return std::make_unique<PostgresTarget>(job);
}

}  // namespace fenwire
