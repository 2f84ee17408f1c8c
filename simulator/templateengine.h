#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace simulator {

/// Where a template gets its values from.
class TemplateValues
{
public:
    TemplateValues() = default;
    TemplateValues(const TemplateValues &) = delete;
    TemplateValues &operator=(const TemplateValues &) = delete;
    virtual ~TemplateValues() = default;

    /// Rows of a table that can be looped over; 0 when there is no such table.
    [[nodiscard]] virtual int rowCount(std::string_view table) const = 0;
    /// A variable's bytes, or nothing when it is unknown. `table` is empty outside of loops; `row` counts
    /// from 0.
    [[nodiscard]] virtual std::optional<std::string> value(std::string_view name, std::string_view table,
                                                           int row) const = 0;
};

struct TemplateLimits
{
    /// Deeper blocks render as nothing.
    int depth = 16;
    /// Filling stops when so many bytes of the template were read; what a loop repeats counts each time.
    std::size_t work = 32U << 20U;
    /// The result is cut at so many bytes.
    std::size_t output = 4U << 20U;
};

/// Fills a template: {{variable}}, {%for table%}...{%endfor%}, {%if a == b%} or != ...{%endif%},
/// {{loop.index}} from 1. An unknown variable gives its own name. What isn't a complete, known mark stays as
/// it is.
[[nodiscard]] std::string filledTemplate(std::string_view text, const TemplateValues &values,
                                         const TemplateLimits &limits = {});

} // namespace simulator
