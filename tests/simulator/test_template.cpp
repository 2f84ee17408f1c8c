#include "templateengine.h"

#include <gtest/gtest.h>

using namespace simulator;

namespace {

class Values final : public TemplateValues
{
public:
    [[nodiscard]] int rowCount(std::string_view table) const override
    {
        return table == "sensortab" ? 3 : table == "netiftab" ? 2 : 0;
    }

    [[nodiscard]] std::optional<std::string> value(std::string_view name, std::string_view table,
                                                   int row) const override
    {
        if (name == "title") {
            return "T";
        }
        if (table == "sensortab" && name == "v") {
            return "s" + std::to_string(row);
        }
        if (table == "netiftab" && name == "ip") {
            return "n" + std::to_string(row);
        }
        return std::nullopt;
    }
};

struct Row
{
    const char *name;
    const char *text;
    const char *expected;
};

std::ostream &operator<<(std::ostream &stream, const Row &row)
{
    return stream << row.name;
}

class TemplateText : public testing::TestWithParam<Row>
{
};

} // namespace

TEST_P(TemplateText, IsFilled)
{
    EXPECT_EQ(filledTemplate(GetParam().text, Values()), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Template, TemplateText,
    testing::Values(
        Row{"Empty", "", ""}, Row{"NoMarks", "a { b } % }} %}", "a { b } % }} %}"},
        Row{"Variable", "<{{title}}>", "<T>"}, Row{"VariableWithBlanks", "{{ title }}", "T"},
        Row{"UnknownVariable", "{{nothing_like_it}}", "nothing_like_it"},
        Row{"RowVariableOutsideOfItsLoop", "{{v}}", "v"},
        Row{"Loop", "{%for sensortab%}{{loop.index}}={{v}};{%endfor%}", "1=s0;2=s1;3=s2;"},
        Row{"LoopOverUnknownTable", "a{%for nothing%}x{%endfor%}b", "ab"},
        Row{"Equal", "{%for netiftab%}{%if loop.index == 2%}{{ip}}{%endif%}{%endfor%}", "n1"},
        Row{"NotEqual", "{%for sensortab%}{%if loop.index != 1%}, {%endif%}{{v}}{%endfor%}", "s0, s1, s2"},
        Row{"EqualWithoutBlanks", "{%for sensortab%}{%if loop.index==3%}{{v}}{%endif%}{%endfor%}", "s2"},
        Row{"CompareWithText", "{%if title == \"T\"%}yes{%endif%}{%if title == 'U'%}no{%endif%}", "yes"},
        Row{"NestedLoops",
            "{%for netiftab%}[{%for sensortab%}{%if loop.index == "
            "2%}{{ip}}{{v}}{%endif%}{%endfor%}{{loop.index}}]"
            "{%endfor%}",
            "[n0s11][n1s12]"},
        Row{"NestedConditions", "{%if title == 'T'%}a{%if title == 'U'%}b{%endif%}c{%endif%}d", "acd"},
        Row{"OuterVariableInsideLoop", "{%for netiftab%}{{title}}{%endfor%}", "TT"},
        Row{"UnclosedVariable", "a{{title", "a{{title"},
        Row{"UnclosedBlockMark", "a{%for sensortab", "a{%for sensortab"},
        Row{"LoopWithoutEnd", "{%for sensortab%}{{title}}", "{%for sensortab%}T"},
        Row{"EndWithoutLoop", "a{%endfor%}b", "a{%endfor%}b"},
        Row{"UnknownMark", "a{%dance%}b", "a{%dance%}b"},
        Row{"LoneBraceBeforeVariable", "{{{title}}", "{title"}),
    [](const auto &row) { return std::string(row.param.name); });

TEST(TemplateLimitsTest, OutputIsCutAtItsLimit)
{
    TemplateLimits limits;
    limits.output = 7;
    EXPECT_EQ(filledTemplate("{%for sensortab%}abc{%endfor%}", Values(), limits), "abcabca");
}

TEST(TemplateLimitsTest, BlocksBeyondTheDepthAreEmpty)
{
    TemplateLimits limits;
    limits.depth = 2;
    const std::string loop = "{%for netiftab%}";
    const std::string end = "{%endfor%}";
    EXPECT_EQ(filledTemplate(loop + "a" + loop + "b" + loop + "c" + end + end + end, Values(), limits),
              "abbabb");
}

TEST(TemplateLimitsTest, WorkIsBoundedWhateverIsPosted)
{
    const auto repeated = [](const std::string &piece) {
        std::string text;
        for (int i = 0; i < 100000; ++i) {
            text += piece;
        }
        return text;
    };
    const std::size_t limit = TemplateLimits().output;
    EXPECT_LE(filledTemplate(repeated("{%for sensortab%}") + "x" + repeated("{%endfor%}"), Values()).size(),
              limit);
    EXPECT_LE(filledTemplate(repeated("{%for sensortab%}"), Values()).size(), limit);
    EXPECT_LE(filledTemplate(repeated("{{{%dance%}"), Values()).size(), limit);
    EXPECT_LE(filledTemplate(repeated("{{"), Values()).size(), limit);
}

TEST(TemplateLimitsTest, ReadingStopsWhenTheWorkIsUsedUp)
{
    TemplateLimits limits;
    limits.work = 40;
    const std::string blanks(100, ' ');
    EXPECT_EQ(filledTemplate("{{title}}" + blanks + "{{title}}{{title}}", Values(), limits),
              "T" + blanks + "T");
}
