#pragma once

// An exam pack is one self-installing file: a POSIX sh script with a tar
// archive of the package appended. It starts with these two lines, by which
// the download window recognises a whole pack before running it (a 404 page
// or a cut transfer does not start this way).
namespace Pack {
constexpr char Signature[] = "#!/bin/sh\n# Practorium exam pack, format 1\n";
constexpr int SignatureLength = sizeof Signature - 1;
} // namespace Pack
