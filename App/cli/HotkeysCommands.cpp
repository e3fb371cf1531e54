// `vellmora hotkeys show|set|reset`: the two global shortcuts as the settings store them.
#include "App/Cli.h"
#include "Support/NotificationCenter.h"
#include "Support/UserDefaults.h"
#include "UI/recording/LiveRecapShortcut.h"
#include "UI/recording/NotesShortcut.h"

#include <nlohmann/json.hpp>

namespace App {
namespace {

enum class Which { notes, liveRecap };

Which which(const std::string& name) {
    if (name == "notes") {
        return Which::notes;
    }
    if (name == "live-recap") {
        return Which::liveRecap;
    }
    throw UsageError("unknown shortcut \"" + name + "\" (expected notes or live-recap)");
}

UI::NotesShortcut load(Which w, const Support::UserDefaults& defaults) {
    return w == Which::notes ? UI::NotesShortcut::load(defaults) : UI::LiveRecapShortcut::load(defaults);
}

void describe(std::ostream& out, const char* label, const UI::NotesShortcut& s, bool stored) {
    out << label << s.displayString() << "  (" << s.accessibilityLabel() << ")" << (stored ? "" : "  default")
        << "\n";
}

CommandRegistration registration{
    "hotkeys", [](CLI::App& root, CliContext& ctx) {
        auto* hotkeys = root.add_subcommand("hotkeys", "Show, change or reset the global shortcuts");
        hotkeys->require_subcommand(1);

        auto* show = hotkeys->add_subcommand("show", "Show both shortcuts");
        auto json = std::make_shared<bool>(false);
        show->add_flag("--json", *json, "Machine-readable output");
        show->callback([&ctx, json] {
            auto& d = ctx.defaults();
            const auto notes = UI::NotesShortcut::load(d);
            const auto recap = UI::LiveRecapShortcut::load(d);
            if (*json) {
                auto entry = [](const UI::NotesShortcut& s) {
                    return nlohmann::json{
                        {"keyCode", s.keyCode}, {"modifiers", s.modifiers}, {"display", s.displayString()}};
                };
                nlohmann::json out{{"notes", entry(notes)}, {"liveRecap", entry(recap)}};
                if (auto failed = d.boolean(UI::LiveRecapShortcut::registrationFailedKey)) {
                    out["liveRecapRegistrationFailed"] = *failed;
                }
                ctx.out() << out.dump(2) << "\n";
                return;
            }
            describe(ctx.out(), "Notes:       ", notes, notes != UI::NotesShortcut::defaultShortcut);
            describe(ctx.out(), "Live recap:  ", recap, recap != UI::LiveRecapShortcut::defaultShortcut);
            if (d.boolean(UI::LiveRecapShortcut::registrationFailedKey).value_or(false)) {
                ctx.out() << "The live recap shortcut is taken by another application.\n";
            }
        });

        auto* set = hotkeys->add_subcommand(
            "set", "Set a shortcut: notes or live-recap, then \"⌥⌘N\" or \"alt+cmd+n\"");
        auto name = std::make_shared<std::string>();
        auto combination = std::make_shared<std::string>();
        set->add_option("SHORTCUT", *name, "notes or live-recap")->required();
        set->add_option("COMBINATION", *combination, "Modifiers and a key: \"⌃⇧N\", \"ctrl+shift+n\"")
            ->required();
        set->callback([&ctx, name, combination] {
            const auto w = which(*name);
            auto shortcut = UI::NotesShortcut::parse(*combination);
            if (!shortcut) {
                throw UsageError("\"" + *combination +
                                 "\" is not a key combination (try \"alt+cmd+n\" or \"⌥⌘N\")");
            }
            if (!shortcut->isValid()) {
                throw UsageError(
                    shortcut->displayString() +
                    " cannot be a shortcut: hold Command, Option or Control, with a key that is not a "
                    "modifier");
            }
            Support::NotificationCenter center;
            if (w == Which::notes) {
                UI::NotesShortcut::save(*shortcut, ctx.defaults(), center);
            } else {
                UI::LiveRecapShortcut::save(*shortcut, ctx.defaults(), center);
            }
            ctx.out() << (w == Which::notes ? "Notes" : "Live recap") << " shortcut set to "
                      << shortcut->displayString() << "\n";
        });

        auto* reset = hotkeys->add_subcommand("reset", "Put a shortcut back to its default");
        auto resetName = std::make_shared<std::string>();
        reset->add_option("SHORTCUT", *resetName, "notes or live-recap")->required();
        reset->callback([&ctx, resetName] {
            const auto w = which(*resetName);
            Support::NotificationCenter center;
            if (w == Which::notes) {
                UI::NotesShortcut::reset(ctx.defaults(), center);
            } else {
                UI::LiveRecapShortcut::reset(ctx.defaults(), center);
            }
            ctx.out() << (w == Which::notes ? "Notes" : "Live recap") << " shortcut reset to "
                      << load(w, ctx.defaults()).displayString() << "\n";
        });
    }};

} // namespace
} // namespace App
