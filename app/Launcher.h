#pragma once

#include <QString>

#include <functional>

class LaunchRequest;
class frmMain;

// Carries out what the program was started with (or what a later start
// handed over) on the open catalogue: asks the candidate through the message
// seam, installs an exam or runs a pack, and selects what got installed.
// Whatever goes wrong is shown; the catalogue stays open either way.
class Launcher
{
public:
    // Runs a pack that the candidate confirmed; raises when it cannot. The
    // program passes the download layer's InstallPackFile.
    using PackRunner = std::function<void(const QString& packFile)>;

    Launcher(frmMain& catalogue, PackRunner runPack);

    // `argument`: a path (relative to `workingFolder`) or a URI.
    void Open(const QString& argument, const QString& workingFolder);

private:
    void InstallExam(const LaunchRequest& request);
    void RunPack(const LaunchRequest& request);

    frmMain& m_catalogue;
    PackRunner m_runPack;
};
