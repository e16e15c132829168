// `export`: the tables of `sql` written out for other engines: JSON Lines or
// CSV files in a folder, or one SQLite database (tables/TableExport.h), from
// the query cache or an import into memory, as `sql` reads them.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <vector>

#include "base/ExitStatus.h"
#include "commands/Commands.h"
#include "commands/SqlCommand.h"
#include "tables/TableExport.h"

namespace scenariolog {
namespace {

constexpr CommandHelp kExportHelp{
    "export", "the tables of sql as JSON Lines, CSV or a SQLite database, for other engines",
    "export --jsonl|--csv --out DIR [--sqlite FILE] [--no-cache] FOLDER|FILE...\n"
    "export --sqlite FILE [--no-cache] FOLDER|FILE...",
    R"(The tables records, requests, headlines, series, files and problems, each
column with the type that `scenario-log schema` gives it. --jsonl and --csv
write TABLE.jsonl and TABLE.csv into DIR (made when missing), each row with
schema_version first, then manifest.json: the version, the reader, the inputs
and each table's columns and rows. --sqlite writes one database with a table
each, a schema_version table and indexes by request and by module and
decision. Texts are UTF-8: a byte that is not part of valid UTF-8 becomes
the character of the same number (U+0080 to U+00FF). What was at the paths
is replaced only once the export is whole.

Exit status: 0 when records were exported, 1 when the inputs held none (the
tables are written all the same), 2 on bad usage, an input error or an
output that cannot be written.
)"};

class ExportCommand : public Command {
  public:
    const CommandHelp& help() const override { return kExportHelp; }

    void addOptions(CLI::App& app) override {
        app.add_flag("--jsonl", mJsonLines, "JSON Lines files, one object per row, into --out");
        app.add_flag("--csv", mCsv, "CSV files (RFC 4180, a header record) into --out");
        app.add_option("--out", mFolder, "the folder of the JSON Lines and CSV files")
            ->type_name("DIR");
        app.add_option("--sqlite", mSqliteFile, "one SQLite database")->type_name("FILE");
        app.add_flag("--no-cache", mOptions.noCache, "import into memory, leave the cache alone");
        addInputsOption(app, mOptions.inputs);
    }

    std::string finishOptions() override {
        const bool toFolder = mJsonLines || mCsv;
        if (!toFolder && !mFolder.empty()) return "--out DIR is for --jsonl or --csv";
        if (!toFolder && mSqliteFile.empty()) return "give --jsonl, --csv or --sqlite FILE";
        if (toFolder && mFolder.empty()) return "--jsonl and --csv need --out DIR";
        return {};
    }

    int run(const Console& console) override {
        mOptions.progress = isatty(STDERR_FILENO) == 1;
        const QueryInputs inputs = gatherQueryInputs(mOptions.inputs);
        if (const CatalogProblem* problem = inputProblem(inputs)) {
            console.err << "scenario-log: " << problem->path << ": " << problem->reason << "\n";
            return kExitTrouble;
        }
        try {
            std::vector<std::unique_ptr<ExportTarget>> targets;
            if (!mFolder.empty()) targets.push_back(makeFolderExport(mFolder, mJsonLines, mCsv));
            if (!mSqliteFile.empty()) targets.push_back(makeSqliteExport(mSqliteFile));
            std::vector<ExportTarget*> into;
            into.reserve(targets.size());
            for (const auto& target : targets) into.push_back(target.get());
            const SqliteDb db = openSqlTables(mOptions, inputs, console.err);
            const ExportSummary summary = exportTables(db.get(), mOptions.inputs, into);
            report(summary, console.out);
            return summary.tables.at(0).rows > 0 ? kExitMatch : kExitNoMatch;
        } catch (const ExportError& failure) {
            console.err << "scenario-log: " << failure.what() << "\n";
        } catch (const SqliteError& failure) {
            console.err << "scenario-log: " << failure.what() << "\n";
        }
        return kExitTrouble;
    }

  private:
    // "records 1834 rows", a table a line, and where they went.
    void report(const ExportSummary& summary, std::ostream& out) const {
        for (const TableRows& table : summary.tables) {
            std::string name = table.table;
            name.resize(std::max<std::size_t>(name.size(), 10), ' ');
            out << name << " " << table.rows << (table.rows == 1 ? " row\n" : " rows\n");
        }
        if (!mFolder.empty()) {
            out << "written into " << mFolder << " ("
                << (mJsonLines && mCsv ? "JSON Lines and CSV"
                    : mJsonLines       ? "JSON Lines"
                                       : "CSV")
                << ", manifest.json)\n";
        }
        if (!mSqliteFile.empty()) out << "written into " << mSqliteFile << " (SQLite)\n";
    }

    SqlOptions mOptions;
    bool mJsonLines = false;
    bool mCsv = false;
    std::string mFolder;
    std::string mSqliteFile;
};

}  // namespace

std::unique_ptr<Command> makeExportCommand() {
    return std::make_unique<ExportCommand>();
}

}  // namespace scenariolog
