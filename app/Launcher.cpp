#include "app/Launcher.h"

#include "app/LaunchRequest.h"
#include "model/Error.h"
#include "shell/Common.h"
#include "shell/MessageSeam.h"
#include "shell/frmMain.h"

Launcher::Launcher(frmMain& catalogue, PackRunner runPack)
    : m_catalogue(catalogue)
    , m_runPack(std::move(runPack))
{
}

void Launcher::Open(const QString& argument, const QString& workingFolder)
{
    const LaunchRequest request = LaunchRequest::Examine(argument, workingFolder);
    switch (request.kind()) {
    case LaunchRequest::Kind::Refused:
        ShowMessage(request.Problem(), 48, request.ProblemValues());
        break;
    case LaunchRequest::Kind::Exam:
    case LaunchRequest::Kind::Bank:
        InstallExam(request);
        break;
    case LaunchRequest::Kind::Pack:
        RunPack(request);
        break;
    }
}

void Launcher::InstallExam(const LaunchRequest& request)
{
    if (!request.IsInstalledFile()) {
        const bool offered = request.kind() == LaunchRequest::Kind::Bank
            ? ShowMessage(QStringLiteral("Import the question bank {3} as the exam {1} \"{2}\"?{CRLF}{CRLF}"
                                         "{4} items; {5} questions of kinds an exam cannot hold are left out."),
                  36, { request.Code(), request.Name(), request.Path(), request.ItemCount(), request.Skipped() })
                == MessageSeam::Yes
            : ShowMessage(QStringLiteral("Install the exam {1} \"{2}\"?{CRLF}{CRLF}From: {3}"), 36,
                  { request.Code(), request.Name(), request.Path() })
                == MessageSeam::Yes;
        if (!offered)
            return;
        if (request.Replaces()
            && ShowMessage(QStringLiteral("The exam {1} is already installed. Do you want to replace it?"), 36,
                   { request.Code() })
                != MessageSeam::Yes)
            return;
        try {
            request.Install();
        } catch (...) {
            ShowMessage(QStringLiteral("The exam {1} could not be installed.{CRLF}{CRLF}{2}"), 16,
                { request.Code(), Error::Current().Description() });
            m_catalogue.RefreshExamList();
            return;
        }
    }
    m_catalogue.RefreshExamList();
    m_catalogue.SelectExam(request.TargetFile());
}

void Launcher::RunPack(const LaunchRequest& request)
{
    if (ShowMessage(QStringLiteral("Install the exam pack \"{1}\"?{CRLF}{CRLF}A pack is a program: install only "
                                   "packs from a source you trust."),
            36, { request.Path() })
        != MessageSeam::Yes)
        return;
    try {
        m_runPack(request.Path());
    } catch (...) {
        ShowMessage(QStringLiteral("The exam pack \"{1}\" was not installed.{CRLF}{CRLF}{2}"), 16,
            { request.Path(), Error::Current().Description() });
    }
    m_catalogue.RefreshExamList();
}
