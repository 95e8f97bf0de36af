// The settings form of a design: the HTML the wizard shows for the design's user variables
// (a generated table, or the design's own hand-written form), and reading the submitted
// answers back into the design's variables.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "webalbum/design_template.h"

namespace quorvane::webalbum {

// The message for a required variable left empty (%s: its description, or the field name).
inline constexpr std::string_view kRequiredMessage = "Please fill in a value for \"%s\"";

// True when the settings page is shown: the design has UserVar[0] or a UserVarForm.
bool HasSettingsPage(DesignTemplate& design);

// Gives every variable that has no value (or an empty one) its non-empty Default.
void SeedDefaultValues(DesignTemplate& design);

// Seeds the defaults, then returns the form's whole HTML with `font_face` as the font, or ""
// when the design has no settings page.
std::string BuildSettingsForm(DesignTemplate& design, std::string_view font_face);

// Stores the submitted (name, value) pairs in order. An empty value for a variable whose
// Required is "true" (any case) stops there: returns false with *message set
// (kRequiredMessage); answers stored before it stay.
bool AcceptSettingsForm(DesignTemplate& design,
                        const std::vector<std::pair<std::string, std::string>>& fields,
                        std::string* message);

// The hand-written form's text with its brace items replaced: "{Tag}" by the variable's
// value (entity-encoded), "{"word" condition}" by the word when the condition holds.
std::string ExpandCustomForm(const DesignTemplate& design, std::string text);

}  // namespace quorvane::webalbum
