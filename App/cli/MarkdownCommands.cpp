// `vellmora markdown blocks`: a model answer on stdin, split into display blocks, printed as JSON.
#include "App/Cli.h"
#include "UI/ai/MarkdownBlockParser.h"

#include <nlohmann/json.hpp>

#include <iterator>
#include <sstream>

namespace {

nlohmann::ordered_json blocksJson(const std::vector<UI::MarkdownBlock>& blocks) {
    auto array = nlohmann::ordered_json::array();
    for (const auto& b : blocks) {
        nlohmann::ordered_json item;
        item["kind"] = std::string(UI::MarkdownBlockParser::kindName(b.kind));
        item["text"] = b.text;
        item["level"] = b.level ? nlohmann::ordered_json(*b.level) : nlohmann::ordered_json(nullptr);
        item["indent"] = b.indent ? nlohmann::ordered_json(*b.indent) : nlohmann::ordered_json(nullptr);
        item["number"] = b.number ? nlohmann::ordered_json(*b.number) : nlohmann::ordered_json(nullptr);
        array.push_back(std::move(item));
    }
    return array;
}

const App::CommandRegistration registration{
    "markdown", [](CLI::App& root, App::CliContext& ctx) {
        auto* markdown = root.add_subcommand("markdown", "Inspect how model answers are displayed");
        markdown->require_subcommand(1);
        auto* blocks =
            markdown->add_subcommand("blocks", "Split Markdown on stdin into display blocks, as JSON");
        blocks->callback([&ctx] {
            std::string text((std::istreambuf_iterator<char>(ctx.in())), std::istreambuf_iterator<char>());
            ctx.out() << blocksJson(UI::MarkdownBlockParser::parse(text))
                             .dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
                      << "\n";
        });
    }};

} // namespace
