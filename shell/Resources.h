#pragma once

// Registers the program's compiled-in pictures (":/Logo", ":/PRINTABLE_LOGO",
// ":/icons/Checked", ":/icons/Incomplete", ":/icons/Complete", each with an
// "@2x" twin for high-density screens).
//
// The pictures live in the shell library, which is static: the linker drops
// their registration unless something calls this. Every window that shows
// one of them calls it in its constructor; calls after the first do nothing.
void InitResources();
