// `vellmora mcp`: connecting other AI apps to our MCP helper.
//   list                      every known app with its status
//   connect|disconnect APP    shows what will change, asks (or --yes), does it, prints the outcome
//   setup APP                 the snippet or command line to paste by hand
//   edit FILE --root-key KEY (--add --command PATH [--style command|stdio] | --remove)
//                             the settings-file writer on any file
#include "App/Cli.h"

#include "Platform/Linux/CommandLineClipboard.h"
#include "Platform/PosixProcessRunner.h"
#include "Support/Errors.h"
#include "Support/MainLoop.h"
#include "Support/Text.h"
#include "UI/aiapps/AIAppsHelperLocation.h"
#include "UI/aiapps/AIAppsSettingsModel.h"
#include "UI/aiapps/ClaudeCodeCommand.h"
#include "UI/aiapps/MCPConfigMerger.h"

#include <nlohmann/json.hpp>

namespace App {

namespace {

using UI::AIAppsSettingsModel;
using UI::MCPClientStatus;

std::string statusText(MCPClientStatus status) {
    switch (status) {
    case MCPClientStatus::needsUpdate:
        return "needs update";
    case MCPClientStatus::notInstalled:
        return "not installed";
    case MCPClientStatus::notConnected:
        return "not connected";
    case MCPClientStatus::connected:
        return "connected";
    case MCPClientStatus::unknown:
        return "unknown";
    }
    return "unknown";
}

/// What the refusal of an uninstalled Vellmora means on Linux, for the help of the commands that name the
/// helper.
const char* const installedOnlyFooter =
    "Only an installed Vellmora can be connected (the package, or cmake --install with any prefix): the AI "
    "app keeps running the helper named in its settings, <prefix>/libexec/vellmora/vellmora-mcp, and a "
    "build folder or a temporary folder does not stay. Run from one, Vellmora answers \"Move Vellmora to "
    "Applications first, then connect.\", which on Linux means: install Vellmora first. "
    "VELLMORA_MCP_HELPER=PATH names another helper.";

std::unique_ptr<AIAppsSettingsModel> makeModel() {
    auto processes = std::make_shared<Platform::PosixProcessRunner>();
    AIAppsSettingsModel::Dependencies d;
    d.environment = UI::MCPClientEnvironment::live();
    d.helperPath = UI::AIAppsHelperLocation::current();
    d.clipboard = std::make_shared<Platform::CommandLineClipboard>(processes);
    d.claude = std::make_shared<UI::ClaudeCLIRunner>(processes, d.environment.homeDirectory,
                                                     UI::ClaudeCLIRunner::environmentFromProcess());
    return std::make_unique<AIAppsSettingsModel>(std::move(d));
}

template <typename T> T finish(Support::MainLoop& loop, Support::Task<T> task) {
    while (!task.isDone()) {
        loop.runOne(1000);
    }
    return task.get();
}

/// The app named by its id ("cursor") or its name ("Visual Studio Code"), in any case.
const UI::MCPClient& clientNamed(const std::string& name) {
    for (const auto& c : UI::MCPClientCatalog::all()) {
        if (Support::Text::equalsIgnoringASCIICase(std::string(UI::rawValue(c.id)), name) ||
            Support::Text::equalsIgnoringASCIICase(c.displayName, name)) {
            return c;
        }
    }
    std::string known;
    for (auto id : UI::allMCPClientIDs) {
        known += (known.empty() ? "" : ", ") + std::string(UI::rawValue(id));
    }
    throw UsageError("unknown app \"" + name + "\"; the apps are " + known);
}

void change(CliContext& ctx, const std::string& name, bool yes,
            AIAppsSettingsModel::Confirmation::Kind kind) {
    const auto& client = clientNamed(name);
    if (client.method.kind == UI::MCPConnectionMethod::Kind::paste) {
        throw UsageError(client.displayName + " is connected by pasting the setup: run vellmora mcp setup " +
                         std::string(UI::rawValue(client.id)));
    }
    Support::MainLoop loop;
    auto model = makeModel();
    using Kind = AIAppsSettingsModel::Confirmation::Kind;
    model->trigger(kind == Kind::connect ? AIAppsSettingsModel::RowAction::connect
                                         : AIAppsSettingsModel::RowAction::disconnect,
                   client.id);
    auto pending = model->confirmation.get();
    if (!pending) {
        const auto& outcome = model->outcomes.get().at(client.id);
        throw CommandFailed(outcome.text);
    }
    ctx.out() << model->confirmationTitle(*pending) << "\n" << model->confirmationMessage(*pending) << "\n";
    if (!yes) {
        ctx.out() << "Continue? [y/N] " << std::flush;
        std::string answer;
        std::getline(ctx.in(), answer);
        answer = Support::Text::asciiLowercased(Support::Text::trimmed(answer));
        if (answer != "y" && answer != "yes") {
            ctx.err() << "Nothing changed.\n";
            ctx.setExitStatus(1);
            return;
        }
    }
    finish(loop, model->perform(*pending));
    auto it = model->outcomes.get().find(client.id);
    if (it == model->outcomes.get().end()) {
        ctx.err() << "Nothing changed.\n";
        ctx.setExitStatus(1);
        return;
    }
    if (it->second.isFailure) {
        throw CommandFailed(it->second.text);
    }
    ctx.out() << it->second.text << "\n";
}

} // namespace

static CommandRegistration registration{
    "mcp", [](CLI::App& root, CliContext& ctx) {
        auto* mcp = root.add_subcommand("mcp", "Connect other AI apps to Vellmora's MCP helper");
        mcp->require_subcommand(1);

        auto* list = mcp->add_subcommand("list", "Every known AI app and whether it is connected");
        auto json = std::make_shared<bool>(false);
        list->add_flag("--json", *json, "Print JSON");
        list->callback([&ctx, json] {
            Support::MainLoop loop;
            auto model = makeModel();
            finish(loop, model->refresh());
            nlohmann::json out = nlohmann::json::array();
            for (const auto& row : model->rows.get()) {
                std::string id(UI::rawValue(row.client.id));
                if (*json) {
                    out.push_back(
                        {{"id", id}, {"name", row.client.displayName}, {"status", statusText(row.status)}});
                } else {
                    ctx.out() << id << std::string(16 - std::min<size_t>(15, id.size()), ' ')
                              << row.client.displayName
                              << std::string(22 - std::min<size_t>(21, row.client.displayName.size()), ' ')
                              << statusText(row.status) << "\n";
                }
            }
            if (*json) {
                ctx.out() << out.dump(2) << "\n";
            } else if (!model->helperPath()) {
                ctx.err() << AIAppsSettingsModel::moveFirstText << "\n";
            }
        });

        for (auto kind : {AIAppsSettingsModel::Confirmation::Kind::connect,
                          AIAppsSettingsModel::Confirmation::Kind::disconnect}) {
            bool connect = kind == AIAppsSettingsModel::Confirmation::Kind::connect;
            auto* cmd = mcp->add_subcommand(connect ? "connect" : "disconnect",
                                            connect ? "Add Vellmora to an AI app's MCP settings"
                                                    : "Take Vellmora out of an AI app's MCP settings");
            auto name = std::make_shared<std::string>();
            auto yes = std::make_shared<bool>(false);
            cmd->add_option("APP", *name, "The app: its id from vellmora mcp list, or its name")->required();
            cmd->add_flag("--yes,-y", *yes, "Do not ask for confirmation");
            if (connect) {
                cmd->footer(installedOnlyFooter);
            }
            cmd->callback([&ctx, name, yes, kind] { change(ctx, *name, *yes, kind); });
        }

        auto* setup = mcp->add_subcommand("setup", "Print the setup to paste into an AI app by hand");
        setup->footer(installedOnlyFooter);
        auto setupName = std::make_shared<std::string>();
        setup->add_option("APP", *setupName, "The app: its id from vellmora mcp list, or its name")
            ->required();
        setup->callback([&ctx, setupName] {
            const auto& client = clientNamed(*setupName);
            auto helper = UI::AIAppsHelperLocation::current();
            if (!helper) {
                throw CommandFailed(AIAppsSettingsModel::moveFirstText);
            }
            if (client.method.kind == UI::MCPConnectionMethod::Kind::cliCommand) {
                auto executable = UI::MCPClientEnvironment::live().executableURL(client);
                ctx.out() << UI::ClaudeCodeCommand::addCommandLine(
                                 helper->string(), executable ? executable->string() : "claude")
                          << "\n";
                return;
            }
            ctx.out() << UI::MCPConfigMerger::snippet(helper->string()) << "\n";
            if (client.pasteHint) {
                ctx.err() << *client.pasteHint << "\n";
            }
        });

        auto* edit = mcp->add_subcommand("edit", "Add or remove Vellmora's entry in any MCP settings file");
        struct EditOptions {
            std::string file, rootKey, command, style = "command";
            bool add = false, remove = false;
        };
        auto o = std::make_shared<EditOptions>();
        edit->add_option("FILE", o->file, "The settings file")->required();
        edit->add_option("--root-key", o->rootKey, "The key of the object that holds the servers")
            ->required();
        auto* add = edit->add_flag("--add", o->add, "Add Vellmora's entry (or bring it up to date)");
        auto* remove = edit->add_flag("--remove", o->remove, "Take Vellmora's entry out");
        add->excludes(remove);
        edit->add_option("--command", o->command, "The helper's path, for --add");
        edit->add_option("--style", o->style,
                         "How the entry is written: command, or stdio (with \"type\": \"stdio\")")
            ->check(CLI::IsMember({"command", "stdio"}));
        edit->callback([&ctx, o] {
            if (o->add == o->remove) {
                throw UsageError("say --add or --remove");
            }
            if (o->add && o->command.empty()) {
                throw UsageError("--add needs --command PATH");
            }
            if (o->remove && !o->command.empty()) {
                throw UsageError("--command goes with --add");
            }
            auto style = o->style == "stdio" ? UI::MCPEntryStyle::stdio : UI::MCPEntryStyle::command;
            try {
                auto result = UI::MCPConfigFileWriter::update(
                    o->file, UI::MCPConfigLocation{o->file, o->rootKey}, style, o->command,
                    o->add ? UI::MCPConfigFileWriter::Kind::add : UI::MCPConfigFileWriter::Kind::remove);
                if (result.kind == UI::MCPConfigFileWriter::Result::Kind::unchanged) {
                    ctx.out() << "unchanged\n";
                } else if (result.backup) {
                    ctx.out() << "written, backup at " << result.backup->string() << "\n";
                } else {
                    ctx.out() << "written\n";
                }
            } catch (const UI::MCPConfigMergeError& e) {
                ctx.err() << e.description() << "\n";
                throw CommandFailed("");
            }
        });
    }};

} // namespace App
