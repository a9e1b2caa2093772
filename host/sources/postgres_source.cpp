// host/sources/postgres_source.cpp - rows of a table or a query of a PostgreSQL database.
//
//     Check    connects, finds the columns, has the server plan the statement
//     Open     begins to read: from now on this part sees the state that all parts see
//     Read     takes rows of a binary COPY, and writes each straight into the outlet
//
// A place, for a run that goes on, is what postgres_plan.h says, with what tells that server and table are those that
// the job began with. The later run sees a later state. By key, rows that kept their key come once whatever else
// became of them. By blocks, that holds only while no row was added or changed, since both put rows where others
// lay; a change is found by the number of the transaction that made it. As is, the rows before must be the same.

#include <fmt/format.h>
#include <optional>

#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/postgres/postgres_types.h"
#include "host/sources/kinds.h"
#include "host/sources/named_columns.h"
#include "host/sources/position.h"
#include "host/sources/postgres_copy.h"
#include "host/sources/postgres_plan.h"
#include "host/sources/postgres_snapshot.h"
#include "host/sources/rows_seen.h"
#include "host/sqlite/sqlite_columns.h"
#include "host/values/text_columns.h"

namespace fenwire {

namespace {

constexpr uint64_t kMostTransactions = uint64_t{1}
                                       << 31;  // that can be told apart by their numbers
// Rows must come in their order whoever else reads the table.
constexpr const char *kInTableOrder = "SELECT set_config('synchronize_seqscans', 'off', false), "
                                      "set_config('max_parallel_workers_per_gather', '0', false), "
                                      "set_config('IntervalStyle', 'sql_standard', false)";

class PostgresSource final : public Source {
public:
    explicit PostgresSource(const Job &job) : job_(job), layout_(job.columns) {}

    void Check() override
    {
        Connect();
        RequireWholeKeys(*connection_, relation_);
        connection_->Run(Select() + " LIMIT 0");
        connection_.reset();
    }

    void Open(int part, int parts) override
    {
        part_ = part;
        parts_ = parts;
        Connect();
        const bool by_blocks = relation_.order == PostgresOrder::Blocks;
        snapshot_ =
            BeginPostgresSnapshot(*connection_, job_, part, parts, by_blocks ? relation_.id : 0);
        RequireWholeKeys(*connection_, relation_);
        place_.whole = PostgresRange(*connection_, relation_, snapshot_.blocks, parts);
        identity_ = Identity();
    }

    bool Read(RowOutlet &rows) override
    {
        if (!begun_)
            copy_.Begin(*connection_, Select(), rows_.columns() + (HasKey() ? 1 : 0));
        begun_ = true;
        try {
            return ReadRows(rows);
        } catch (const PostgresNonsense &) {
            copy_.RefuseNonsense();
        }
    }

    std::optional<std::string> Position() override
    {
        std::string text = "server " + identity_ + " ";
        switch (relation_.order) {
        case PostgresOrder::Key:
            text += fmt::format("key {} {}", place_.whole.low, place_.whole.high);
            break;
        case PostgresOrder::Blocks:
            text += fmt::format("blocks {} {}", snapshot_.horizon, place_.whole.high);
            break;
        case PostgresOrder::AsIs:
            return text + seen_.Text();
        }
        return text + (place_.behind ? fmt::format(" behind {}", *place_.behind) : " begin");
    }

    void GoTo(const std::string &position) override
    {
        PositionReader place(position);
        RequireIdentity(place);
        const std::string_view order = place.Word();
        if (order == "rows" && relation_.order == PostgresOrder::AsIs)
            GoBehindRows(place);
        else if (order == "key" && relation_.order == PostgresOrder::Key)
            GoToKey(place);
        else if (order == "blocks" && relation_.order == PostgresOrder::Blocks)
            GoToBlock(place);
        else
            place.Refuse();
    }

private:
    bool HasKey() const { return relation_.order != PostgresOrder::AsIs; }

    void Connect()
    {
        if (!IsSqliteCharset(job_.charset))
            throw SourceError(
                fmt::format("data of PostgreSQL can't have the character set {} in this version; "
                            "ASCII, UTF8 and UTF16 can",
                            Quoted(job_.charset)));
        connection_.emplace(SettingOr<std::string>(job_.source, "connection", {}),
                            PostgresConnection::Access::Read);
        connection_->Run(kInTableOrder);
        relation_ = FindPostgresRelation(*connection_, job_);
        rows_ = PostgresRows(IsUtf16(job_.charset));
        list_ = PostgresSelectList(relation_, job_, rows_);
    }

    std::string Select() const
    {
        return fmt::format("SELECT {} FROM {}{}", list_, relation_.sql,
                           PostgresCondition(relation_, place_, part_, parts_));
    }

    // A batch ends where the key changes: a place can't lie between rows of the same key.
    bool ReadRows(RowOutlet &rows)
    {
        const bool by_key = relation_.order == PostgresOrder::Key;
        for (size_t bytes = 0; waiting_ || NextRow(); bytes += HandOver(rows)) {
            if (bytes >= kBatchBytes && (!by_key || key_ != place_.behind))
                return true;
        }
        return false;
    }

    // Hot. The row that waits; how many bytes it has.
    size_t HandOver(RowOutlet &rows)
    {
        uint8_t *to = rows.Reserve();
        const size_t row = rows_.Write(row_, to);
        if (row == 0) [[unlikely]]
            RefuseRow();
        waiting_ = false;
        if (HasKey())
            place_.behind = key_;
        else
            seen_.Add(to, row);
        rows.Append(row);
        return row;
    }

    // Hot. The next row of the server, and its key.
    bool NextRow()
    {
        waiting_ = copy_.Next(row_);
        if (!waiting_ || !HasKey())
            return waiting_;
        const std::string_view field = row_.Next();
        if (relation_.order == PostgresOrder::Key) {
            key_ = PostgresFields::NumberIn<int64_t>(field);
        } else {
            if (field.size() != sizeof(uint32_t) + sizeof(uint16_t))
                throw PostgresNonsense();
            key_ = int64_t{PostgresFields::NumberIn<uint32_t>(field.substr(0, 4))} << 16 |
                   PostgresFields::NumberIn<uint16_t>(field.substr(4));
        }
        // Or a place would leave rows out.
        if (place_.behind && key_ < *place_.behind)
            connection_->Throw(fmt::format("{} sent rows of {} that are not in the order of {}",
                                           connection_->shown(), relation_.words, relation_.key));
        return true;
    }

    [[noreturn]] void RefuseRow() const
    {
        std::string where = fmt::format("row {} of instance {}", seen_.count() + 1, part_);
        if (HasKey())
            where = PostgresPlaceWords(relation_, key_);
        throw SourceError(fmt::format("{} in {}, {}, {}", relation_.words, connection_->shown(),
                                      where, rows_.Fault()));
    }

    // Another server, or a table that was made anew, has other rows.
    std::string Identity()
    {
        return fmt::format(
            "{} {}",
            connection_->Value("SELECT system_identifier || ' ' || (SELECT oid FROM "
                               "pg_catalog.pg_database WHERE datname = current_database()) FROM "
                               "pg_control_system()"),
            relation_.order == PostgresOrder::Blocks
                ? connection_->Value("SELECT pg_relation_filenode($1::oid)",
                                     {std::to_string(relation_.id)})
                : std::to_string(relation_.id));
    }

    void RequireIdentity(PositionReader &place) const
    {
        if (place.Word() != "server")
            place.Refuse();
        std::string before;
        for (int i = 0; i < 3; ++i)
            before += fmt::format("{}{}", i > 0 ? " " : "", place.Word());
        if (before != identity_)
            throw SourceError(fmt::format(
                "{} in {} is not the one that was read before the checkpoint: the table was made "
                "or written anew, or it is another server; the job can only begin anew",
                relation_.words, connection_->shown()));
    }

    void GoBehindRows(PositionReader &place)
    {
        copy_.Begin(*connection_, Select(), rows_.columns());
        begun_ = true;
        try {
            seen_.Repeat(place, layout_,
                         [this](RowOutlet &rows) { return NextRow() && HandOver(rows) != 0; });
        } catch (const PostgresNonsense &) {
            copy_.RefuseNonsense();
        }
    }

    void GoToKey(PositionReader &place)
    {
        PostgresPlace there;
        there.whole.low = place.Whole<int64_t>();
        there.whole.high = place.Whole<int64_t>();
        TakePlace(place, there);
    }

    void GoToBlock(PositionReader &place)
    {
        const auto horizon = place.Whole<uint64_t>();
        PostgresPlace there;
        there.whole.high = place.Whole<int64_t>();
        TakePlace(place, there);
        if (horizon > snapshot_.horizon || snapshot_.horizon - horizon >= kMostTransactions)
            place.Refuse();
        RequireUnchanged(horizon);
    }

    void TakePlace(PositionReader &place, PostgresPlace there)
    {
        const std::string_view how = place.Word();
        if (how == "behind")
            there.behind = place.Whole<int64_t>();
        else if (how != "begin")
            place.Refuse();
        place.End();
        if (!IsPlaceOf(relation_, there, part_, parts_))
            place.Refuse();
        place_ = there;
    }

    // Of the part's whole range, what was read included: a row that was moved there is missing elsewhere.
    void RequireUnchanged(uint64_t horizon)
    {
        PostgresPlace whole = place_;
        whole.behind.reset();
        const std::string range = PostgresCondition(relation_, whole, part_, parts_);
        const std::string changed = connection_->Value(
            fmt::format("SELECT 1 FROM {}{} age(xmin) <= age($1::xid) LIMIT 1", relation_.sql,
                        range.empty() ? " WHERE" : range + " AND"),
            {std::to_string(static_cast<uint32_t>(horizon))});
        if (!changed.empty())
            throw SourceError(fmt::format(
                "rows of {} in {} were added or changed since the job began to read it, so rows "
                "could be lost or come twice; the job can only begin anew (with a key, it could go "
                "on)",
                relation_.words, connection_->shown()));
    }

    Job job_;
    RowLayout layout_;
    PostgresRows rows_{false};
    int part_ = 1, parts_ = 1;
    std::optional<PostgresConnection> connection_;
    PostgresRelation relation_;
    std::string list_;      // what is asked for
    std::string identity_;  // of server and table
    PostgresSnapshot snapshot_;
    PostgresPlace place_;  // so far this part is done
    RowsSeen seen_;        // without a key
    PostgresCopy copy_;
    bool begun_ = false;
    bool waiting_ = false;  // row_ is there, and not yet handed over
    PostgresFields row_;
    int64_t key_ = 0;  // of row_
};

}  // namespace

void CheckPostgresSourceSettings(const Job &job, std::vector<Complaint> &found)
{
    CheckTableOrQuery(job, "key", found);
}

std::vector<Column> PostgresSourceColumns(const Job &job)
{
    PostgresConnection connection(SettingOr<std::string>(job.source, "connection", {}),
                                  PostgresConnection::Access::Read);
    std::vector<Column> columns;
    for (const PostgresColumn &column : FindPostgresRelation(connection, job).columns)
        columns.push_back(ColumnOfPostgresType(column.name, column.type));
    return ColumnsForFormat(job, std::move(columns));
}

std::unique_ptr<Source> MakePostgresSource(const Job &job)
{
    return std::make_unique<PostgresSource>(job);
}

}  // namespace fenwire
