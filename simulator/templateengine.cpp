#include "templateengine.h"

#include <algorithm>
#include <vector>

namespace simulator {

namespace {

struct Loop
{
    std::string_view table;
    int row = 0;
};

struct Mark
{
    std::size_t begin = 0;
    std::size_t end = 0;
    std::string_view content;
    bool isVariable = false;
};

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool beginsWith(std::string_view text, std::string_view prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

/// Finds the marks of a template and counts the bytes it reads, since there are templates that make it read
/// some of them very often.
class Scanner
{
public:
    explicit Scanner(std::size_t limit)
        : m_limit(limit)
    {
    }

    [[nodiscard]] bool isExhausted() const { return m_read >= m_limit; }

    std::optional<Mark> nextMark(std::string_view text, std::size_t from)
    {
        while (!isExhausted()) {
            const std::size_t begin = find(text, "{", from);
            if (begin == std::string_view::npos || begin + 1 >= text.size()) {
                return std::nullopt;
            }
            const bool isVariable = text[begin + 1] == '{';
            if (isVariable || text[begin + 1] == '%') {
                const std::size_t close = find(text, isVariable ? "}}" : "%}", begin + 2);
                if (close != std::string_view::npos) {
                    return Mark{begin, close + 2, trimmed(text.substr(begin + 2, close - begin - 2)),
                                isVariable};
                }
            }
            from = begin + 1;
        }
        return std::nullopt;
    }

    /// The mark that ends the block whose body begins at `from`; blocks of the same kind inside are skipped.
    std::optional<Mark> blockEnd(std::string_view text, std::size_t from, std::string_view opening,
                                 std::string_view closing)
    {
        int open = 1;
        while (const std::optional<Mark> mark = nextMark(text, from)) {
            if (!mark->isVariable && beginsWith(mark->content, opening)) {
                ++open;
            }
            if (!mark->isVariable && mark->content == closing && --open == 0) {
                return mark;
            }
            from = mark->end;
        }
        return std::nullopt;
    }

private:
    std::size_t find(std::string_view text, std::string_view what, std::size_t from)
    {
        const std::size_t found = text.find(what, from);
        m_read += std::min(found, text.size()) - std::min(from, text.size()) + 1;
        return found;
    }

    const std::size_t m_limit;
    std::size_t m_read = 0;
};

class Filler
{
public:
    Filler(const TemplateValues &values, const TemplateLimits &limits)
        : m_values(values)
        , m_limits(limits)
        , m_scanner(limits.work)
    {
    }

    void fill(std::string_view text)
    {
        std::size_t position = 0;
        while (!isFull()) {
            const std::optional<Mark> mark = m_scanner.nextMark(text, position);
            append(text.substr(position, mark ? mark->begin - position : std::string_view::npos));
            if (!mark) {
                return;
            }
            position = mark->isVariable ? variable(*mark) : block(text, *mark);
        }
    }

    [[nodiscard]] std::string takeOutput() { return std::move(m_output); }

private:
    [[nodiscard]] bool isFull() const
    {
        return m_output.size() >= m_limits.output || m_scanner.isExhausted();
    }

    void append(std::string_view text) { m_output += text.substr(0, m_limits.output - m_output.size()); }

    std::size_t variable(const Mark &mark)
    {
        append(valueOf(mark.content));
        return mark.end;
    }

    std::size_t block(std::string_view text, const Mark &mark)
    {
        const bool isLoop = beginsWith(mark.content, "for ");
        const bool isCondition = beginsWith(mark.content, "if ");
        std::optional<Mark> end;
        if (isLoop) {
            end = m_scanner.blockEnd(text, mark.end, "for ", "endfor");
        } else if (isCondition) {
            end = m_scanner.blockEnd(text, mark.end, "if ", "endif");
        }
        if (!end) {
            append(text.substr(mark.begin, mark.end - mark.begin));
            return mark.end;
        }
        if (m_depth < m_limits.depth) {
            ++m_depth;
            const std::string_view body = text.substr(mark.end, end->begin - mark.end);
            if (isLoop) {
                loop(trimmed(mark.content.substr(4)), body);
            } else if (holds(mark.content.substr(3))) {
                fill(body);
            }
            --m_depth;
        }
        return end->end;
    }

    void loop(std::string_view table, std::string_view body)
    {
        const int rows = m_values.rowCount(table);
        for (int row = 0; row < rows && !isFull(); ++row) {
            m_loops.push_back({table, row});
            fill(body);
            m_loops.pop_back();
        }
    }

    [[nodiscard]] bool holds(std::string_view condition) const
    {
        const std::size_t position = condition.find('=');
        if (position == std::string_view::npos || position == 0) {
            const std::string value = operand(trimmed(condition));
            return !value.empty() && value != "0";
        }
        const bool negated = condition[position - 1] == '!';
        const std::size_t rightBegin =
            std::min(condition.size(), position + (condition.substr(position, 2) == "==" ? 2 : 1));
        const std::string left = operand(trimmed(condition.substr(0, negated ? position - 1 : position)));
        const std::string right = operand(trimmed(condition.substr(rightBegin)));
        return (left == right) != negated;
    }

    [[nodiscard]] std::string operand(std::string_view text) const
    {
        if (text.size() >= 2 && (text.front() == '"' || text.front() == '\'') &&
            text.back() == text.front()) {
            return std::string(text.substr(1, text.size() - 2));
        }
        return valueOf(text);
    }

    [[nodiscard]] std::string valueOf(std::string_view name) const
    {
        if (name == "loop.index" && !m_loops.empty()) {
            return std::to_string(m_loops.back().row + 1);
        }
        for (auto loop = m_loops.rbegin(); loop != m_loops.rend(); ++loop) {
            if (std::optional<std::string> value = m_values.value(name, loop->table, loop->row)) {
                return *std::move(value);
            }
        }
        return m_values.value(name, {}, 0).value_or(std::string(name));
    }

    const TemplateValues &m_values;
    const TemplateLimits &m_limits;
    Scanner m_scanner;
    std::string m_output;
    std::vector<Loop> m_loops;
    int m_depth = 0;
};

} // namespace

std::string filledTemplate(std::string_view text, const TemplateValues &values, const TemplateLimits &limits)
{
    Filler filler(values, limits);
    filler.fill(text);
    return filler.takeOutput();
}

} // namespace simulator
