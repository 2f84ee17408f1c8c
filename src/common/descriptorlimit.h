#pragma once

/// Lets the process open as many files as thousands of requests need, as far as the system allows it. The
/// usual limit is too low for a few hundred devices that are asked at the same time.
void raiseDescriptorLimit();

/// How many files and connections the process may have open; where the system has no such limit, more than
/// anybody needs.
[[nodiscard]] int descriptorLimit();
