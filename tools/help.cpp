#include "tools/help.h"

#include <algorithm>
#include <sstream>
#include <string_view>
#include <vector>

namespace tmx::tools {
namespace {

using Options = std::vector<const CLI::Option*>;

constexpr std::size_t kWidth = 80;
constexpr std::size_t kColumn = 28;  // where the texts of options begin

// The words of a text behind what stands on the line, each line but the first indented.
std::string Fill(std::string line, std::string_view text, std::size_t indent) {
  std::string filled;
  std::istringstream words{std::string(text)};
  bool is_first = true;
  for (std::string word; words >> word; is_first = false) {
    if (line.size() + 1 + word.size() > kWidth && line.size() > indent) {
      filled += line + '\n';
      line = std::string(indent, ' ');
      is_first = true;
    }
    line += (is_first ? "" : " ") + word;
  }
  return filled + line + '\n';
}

std::string FillParagraphs(const std::string& text) {
  std::string filled, paragraph;
  const auto end_paragraph = [&] {
    if (!paragraph.empty()) filled += Fill("", paragraph, 0);
    paragraph.clear();
  };
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.front() != ' ') {
      paragraph += line + ' ';
    } else {
      end_paragraph();
      filled += line + '\n';
    }
  }
  end_paragraph();
  return filled;
}

std::string Row(const std::string& name, const std::string& text) {
  std::string line = "  " + name;
  const bool has_room = line.size() + 2 <= kColumn;
  const std::string above = has_room ? "" : line + '\n';
  line.resize(has_room ? line.size() : 0);
  line.resize(kColumn, ' ');
  return above + Fill(line, text, kColumn);
}

// The value of an option and the range of a number, which the library makes one text of:
// "SECONDS:INT in [1 - 3600]".
struct Value {
  explicit Value(const CLI::Option& option) {
    if (option.get_type_size() == 0) return;  // a flag
    name = option.get_type_name();
    const std::size_t open = name.find(" in [");
    const std::size_t middle = name.find(" - ", std::min(open, name.size()));
    if (open != std::string::npos && middle != std::string::npos && name.ends_with(']')) {
      range = name.substr(open + 5, middle - open - 5) + " to " +
              name.substr(middle + 3, name.size() - middle - 4);
      name.resize(name.rfind(':', open));
    }
    name.resize(std::min(name.find(":{"), name.size()));  // the text names the choices
    if (name == "INT" || name == "UINT") name = "N";
  }

  std::string name;
  std::string range;
};

std::string NameOf(const CLI::Option& option) {
  if (option.get_positional())
    return option.get_name() + (option.get_expected_max() > 1 ? "..." : "");
  std::string name = option.get_name(false, true);
  if (const std::size_t comma = name.find(','); comma != std::string::npos)
    name.insert(comma + 1, " ");
  const std::string value = Value(option).name;
  return value.empty() ? name : name + ' ' + value;
}

std::string NeedsOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const CLI::Option* const needed : option.get_needs()) names.push_back(needed->get_name());
  std::ranges::sort(names);  // they come in no order
  return names.empty() ? "" : "needs " + CLI::detail::join(names, " and ");
}

std::string TextOf(const CLI::Option& option) {
  const bool is_required = option.get_required() && !option.get_positional();
  std::string demands;
  for (const std::string& demand :
       {std::string(is_required ? "required" : ""), Value(option).range, NeedsOf(option)})
    if (!demand.empty()) demands += (demands.empty() ? "" : "; ") + demand;
  return option.get_description() + (demands.empty() ? "" : " (" + demands + ")");
}

std::string Rows(const std::string& title, const Options& options) {
  if (options.empty()) return "";
  std::string rows = '\n' + title + ":\n";
  for (const CLI::Option* const option : options) rows += Row(NameOf(*option), TextOf(*option));
  return rows;
}

Options OptionsOf(const CLI::App& app, bool positional) {
  // A group has the help option of its own, too, which is none of its choices.
  const CLI::Option* const unlisted = app.get_name().empty() ? app.get_help_ptr() : nullptr;
  return app.get_options([=](const CLI::Option* option) {
    return option->get_positional() == positional && option != unlisted;
  });
}

std::string UsageOf(const CLI::App& app, const std::string& name) {
  std::string usage;
  for (const CLI::Option* const option : OptionsOf(app, false))
    if (option->get_required()) usage += NameOf(*option) + ' ';
  usage += "[OPTIONS] ";
  for (const CLI::Option* const option : OptionsOf(app, true)) usage += NameOf(*option) + ' ';
  if (app.get_require_subcommand_min() > 0) usage += "SUBCOMMAND";
  return Fill("Usage: " + name + ' ', usage, 7);
}

// A group of options is a subcommand without a name.
std::string TitleOf(const CLI::App& group) {
  const std::size_t least = group.get_require_option_min(), most = group.get_require_option_max();
  const std::string number = least == most ? "exactly " + std::to_string(least)
                             : most == 0
                                 ? "at least " + std::to_string(least)
                                 : "from " + std::to_string(least) + " to " + std::to_string(most);
  return group.get_group() + (least == 0 && most == 0 ? "" : " (" + number + " of these)");
}

std::string SubcommandsOf(const CLI::App& app) {
  std::string rows, groups;
  for (const CLI::App* const sub : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (sub->get_name().empty())
      groups += Rows(TitleOf(*sub), OptionsOf(*sub, false));
    else
      rows += Row(sub->get_name(), sub->get_description());
  }
  return groups + (rows.empty() ? "" : "\nSubcommands:\n" + rows);
}

}  // namespace

std::string HelpFormatter::make_help(const CLI::App* app, std::string name,
                                     CLI::AppFormatMode) const {
  const std::string footer = app->get_footer();
  return Fill("", app->get_description(), 0) + UsageOf(*app, name) +
         Rows("Arguments", OptionsOf(*app, true)) + Rows("Options", OptionsOf(*app, false)) +
         SubcommandsOf(*app) + (footer.empty() ? "" : '\n' + FillParagraphs(footer));
}

}  // namespace tmx::tools
