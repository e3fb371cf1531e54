// vellmora-mcp: the MCP helper other AI apps start. Reads the recordings library read-only and answers
// JSON-RPC on standard input and output. `--database PATH` reads another library file (default: the
// library in the data folder, $VELLMORA_DATA_HOME or $XDG_DATA_HOME/vellmora).
#include "Database/Sqlite/SqliteDatabase.h"
#include "Mcp/McpServer.h"

#include <csignal>
#include <cstring>
#include <iostream>

int main(int argc, char** argv) {
    std::filesystem::path path;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--database") == 0 && i + 1 < argc) {
            path = argv[++i];
        } else if (std::strcmp(argv[i], "--version") == 0) {
            std::cout << "vellmora-mcp " << VELLMORA_VERSION << "\n";
            return 0;
        } else {
            std::cerr << "usage: vellmora-mcp [--database PATH]\n";
            return 2;
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::ios::sync_with_stdio(false);
    Mcp::McpServer server(
        [path]() -> std::shared_ptr<Database::DatabaseManager> {
            Database::SqliteDatabase::Options options;
            options.mode = Database::SqliteDatabase::Mode::readOnly;
            return std::make_shared<Database::SqliteDatabase>(
                path.empty() ? Database::SqliteDatabase::defaultPath() : path, options);
        },
        VELLMORA_VERSION);
    server.serve(std::cin, std::cout);
    return 0;
}
