#pragma once

namespace velmo {

/// Tells assistive technology what the painted widgets are: roles and values that a bare QWidget does not have. Call it
/// once, after the application object exists.
void installAccessibility();

} // namespace velmo
