// SPDX-License-Identifier: MIT
// The manual and the completion of a small tool.
#include "host/tool/pages/pages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

namespace quillmark::host {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class Pages : public ::testing::Test {
 protected:
  Pages() : app_("Makes tea.", "tea") {
    app_.footer("Exit status:\n  0  done");
    CLI::App& brew = *app_.add_subcommand("brew", "brew a cup");
    brew.add_option("LEAF", leaf_, "what to brew; 'green' as well")->required();
    brew.add_option("-t,--time", text_, ".5 or more minutes")->type_name("MINUTES");
    brew.add_option("--with", text_, "what goes in")->type_name("milk|lemon")->required();
    brew.add_flag("--loud", loud_, "whistle");
  }

  [[nodiscard]] ToolTables Tables() const { return TablesOf(app_); }

  CLI::App app_;
  std::string leaf_;
  std::string text_;
  bool loud_ = false;
};

TEST_F(Pages, TableTellsArgumentsFromOptionsAndFlags) {
  const ToolTables tables = Tables();
  ASSERT_EQ(tables.commands.size(), 1U);
  const CommandTable& brew = tables.commands.front();
  ASSERT_EQ(brew.positionals.size(), 1U);
  EXPECT_THAT(brew.positionals[0].names, ElementsAre("LEAF"));
  ASSERT_EQ(brew.options.size(), 4U);
  EXPECT_THAT(brew.options[0].names, ElementsAre("-h", "--help"));
  EXPECT_THAT(brew.options[1].names, ElementsAre("-t", "--time"));
  EXPECT_EQ(brew.options[1].argument, "MINUTES");
  EXPECT_EQ(brew.options[1].argument_count, 1);
  EXPECT_TRUE(brew.options[2].required);
  EXPECT_EQ(brew.options[3].argument, "");
  EXPECT_EQ(brew.options[3].argument_count, 0);
}

TEST_F(Pages, FooterOfTheToolIsNotOneOfTheCommand) {
  EXPECT_EQ(Tables().commands.front().footer, "");
}

TEST_F(Pages, ChoicesStandBetweenBars) {
  const CommandTable brew = Tables().commands.front();
  EXPECT_THAT(ChoicesOf(brew.options[2]), ElementsAre("milk", "lemon"));
  EXPECT_THAT(ChoicesOf(brew.options[1]), IsEmpty());
}

TEST_F(Pages, PageOfACommand) {
  const ToolTables tables = Tables();
  const std::string page = CommandPage(tables, tables.commands.front(), {"1.2.3", "1 Jan 2000"});
  EXPECT_THAT(page, HasSubstr(".TH TEA\\-BREW 1 \"1 Jan 2000\" \"tea 1.2.3\" \"User Commands\"\n"));
  EXPECT_THAT(page, HasSubstr(".SH NAME\ntea\\-brew \\- brew a cup\n"));
  EXPECT_THAT(page, HasSubstr("\\fBtea brew\\fR [\\fIOPTION\\fR]... "
                              "\\fB\\-\\-with\\fR \\fBmilk\\fR|\\fBlemon\\fR \\fILEAF\\fR\n"));
  EXPECT_THAT(page, HasSubstr(".TP\n\\fB\\-t\\fR, \\fB\\-\\-time\\fR \\fIMINUTES\\fR\n"));
  EXPECT_THAT(page, HasSubstr(".TP\n\\fB\\-\\-loud\\fR\nWhistle.\n"));
  EXPECT_THAT(page, HasSubstr("What goes in; required.\n"));
}

TEST_F(Pages, TextIsPrintedByRoffAsItStands) {
  const ToolTables tables = Tables();
  const std::string page = CommandPage(tables, tables.commands.front(), {"1", "1 Jan 2000"});
  EXPECT_THAT(page, HasSubstr("\n\\&.5 or more minutes.\n"));
  EXPECT_THAT(page, HasSubstr("What to brew; \\(aqgreen\\(aq as well; required.\n"));
}

TEST_F(Pages, CompletionKnowsWhatFollowsAnOption) {
  const std::string script = BashCompletion(Tables());
  EXPECT_THAT(script, HasSubstr("options='-h --help -t --time --with --loud'\n"));
  EXPECT_THAT(script, HasSubstr("        --with) value=words words='milk lemon' ;;\n"));
  EXPECT_THAT(script, HasSubstr("        -t | --time) value=none ;;\n"));
  EXPECT_THAT(script, Not(HasSubstr("$earlier in")));
}

}  // namespace
}  // namespace quillmark::host
