// `vellmora links`, `vellmora classify` and `vellmora notes-excerpt`: the meeting-link extractor and the
// notes excerpt over text the user pipes in, for checking what the system would find in an invitation.
#include "App/Cli.h"

#include "Support/UserDefaults.h"
#include "UI/calendar/CalendarNotesSanitizer.h"
#include "UI/calendar/MeetingLinkExtractor.h"

#include <nlohmann/json.hpp>

#include <iterator>
#include <memory>

namespace App {

namespace {

std::string readAll(std::istream& in) {
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::string line(const UI::MeetingLink& link) {
    return std::string(UI::rawValue(link.service)) + "\t" + link.webURL.string() + "\t" +
           (link.nativeURL ? link.nativeURL->string() : "-");
}

nlohmann::json json(const std::vector<UI::MeetingLink>& links) {
    auto array = nlohmann::json::array();
    for (const auto& link : links) {
        array.push_back(
            {{"service", std::string(UI::rawValue(link.service))},
             {"webURL", link.webURL.string()},
             {"nativeURL", link.nativeURL ? nlohmann::json(link.nativeURL->string()) : nlohmann::json()}});
    }
    return array;
}

/// JSON text safe for any input: invalid UTF-8 in a link is replaced rather than failing the output.
std::string dump(const nlohmann::json& value) {
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

const CommandRegistration links{
    "links", [](CLI::App& root, CliContext& ctx) {
        auto* cmd = root.add_subcommand("links", "Print the meeting links found in the text on stdin");
        auto asJson = std::make_shared<bool>(false);
        auto nulSeparated = std::make_shared<bool>(false);
        cmd->add_flag("--json", *asJson, "Print a JSON array of {service, webURL, nativeURL}");
        cmd->add_flag(
            "--nul", *nulSeparated,
            "Stdin holds several texts separated by NUL bytes; print one JSON array per text, one per line");
        cmd->callback([&ctx, asJson, nulSeparated] {
            auto input = readAll(ctx.in());
            if (*nulSeparated) {
                std::size_t start = 0;
                while (start < input.size()) {
                    auto end = input.find('\0', start);
                    if (end == std::string::npos) {
                        end = input.size();
                    }
                    ctx.out() << dump(json(UI::MeetingLinkExtractor::links(
                                     std::string_view(input).substr(start, end - start))))
                              << "\n";
                    start = end + 1;
                }
                return;
            }
            auto found = UI::MeetingLinkExtractor::links(input);
            if (*asJson) {
                ctx.out() << dump(json(found)) << "\n";
                return;
            }
            for (const auto& link : found) {
                ctx.out() << line(link) << "\n";
            }
        });
    }};

const CommandRegistration classify{
    "classify", [](CLI::App& root, CliContext& ctx) {
        auto* cmd = root.add_subcommand("classify", "Print the meeting link of each URL, or \"none\"");
        auto urls = std::make_shared<std::vector<std::string>>();
        cmd->add_option("URL", *urls, "The links to classify")->required();
        cmd->callback([&ctx, urls] {
            for (const auto& url : *urls) {
                auto link = UI::MeetingLinkExtractor::classify(std::string_view(url));
                ctx.out() << (link ? line(*link) : std::string("none")) << "\n";
            }
        });
    }};

const CommandRegistration notesExcerpt{
    "notes-excerpt", [](CLI::App& root, CliContext& ctx) {
        auto* cmd = root.add_subcommand(
            "notes-excerpt",
            "Print the excerpt shown with reminders for the event notes on stdin (exit 1 when none)");
        cmd->callback([&ctx] {
            auto excerpt = UI::CalendarNotesSanitizer::excerpt(readAll(ctx.in()));
            if (!excerpt) {
                ctx.setExitStatus(1);
                return;
            }
            ctx.out() << *excerpt << "\n";
        });
    }};

} // namespace

} // namespace App
