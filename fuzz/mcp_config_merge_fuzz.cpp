// The settings-file merger on arbitrary bytes: it must refuse or succeed, never crash; whatever it writes
// must read back with our entry in it, and removing must leave no entry behind.
#include "UI/aiapps/MCPConfigMerger.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::string command = "/opt/vellmora/bin/vellmora-mcp";
    UI::MCPConfigMerger::command(text, "mcpServers");
    try {
        auto added = UI::MCPConfigMerger::upserting(command, UI::MCPEntryStyle::stdio, "mcpServers", text);
        if (UI::MCPConfigMerger::command(added, "mcpServers") != command) {
            std::abort();
        }
        if (UI::MCPConfigMerger::upserting(command, UI::MCPEntryStyle::stdio, "mcpServers", added) != added) {
            std::abort(); // adding twice changes nothing the second time
        }
        auto removed = UI::MCPConfigMerger::removing("mcpServers", added);
        if (!removed || UI::MCPConfigMerger::command(*removed, "mcpServers")) {
            std::abort();
        }
    } catch (const UI::MCPConfigMergeError&) {
    }
    try {
        UI::MCPConfigMerger::removing("servers", text);
    } catch (const UI::MCPConfigMergeError&) {
    }
    return 0;
}
