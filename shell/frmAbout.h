#pragma once

#include <QDialog>

class QLabel;
class QPushButton;

// The about box: the product's logo, version and notice, and a button that
// starts the system's own system-information tool. Opened modally from the
// main window.
class frmAbout : public QDialog
{
    Q_OBJECT

public:
    explicit frmAbout(QWidget* parent = nullptr);

    // Starts the system-information tool named in the machine's settings
    // store, else hardinfo or gnome-system-monitor from PATH; without one,
    // says that system information is unavailable.
    void StartSysInfo();

    // Reads one value of the settings store as text: a number becomes its
    // decimal text. The key is opened for reading and writing, so a store the
    // user may not change reports nothing. Never raises.
    static bool GetKeyValue(quint32 hive, const QString& subkey, const QString& valueName, QString& valueText);

private:
    void cmdOK_Click();
    void cmdSysInfo_Click();

    QLabel* m_picLogo = nullptr;
    QLabel* m_lblVersion = nullptr;
    QLabel* m_lblNotice = nullptr;
    QPushButton* m_cmdSysInfo = nullptr;
    QPushButton* m_cmdOK = nullptr;
};
