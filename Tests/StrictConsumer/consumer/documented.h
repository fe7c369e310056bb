#pragma once

/// Uses what the documentation names, and tells `expect` what is to hold then.
void useWhatIsDocumented(void (*expect)(bool holds, const char* what));
