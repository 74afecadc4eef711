#pragma once

#include <QAbstractTableModel>
#include <QColor>
#include <QList>
#include <QString>

// The rows of the main window's exam list: code and name of each installed
// exam, with the path of its file. Kept as plain values and replaced whole,
// so refreshing a long list costs one model reset rather than a heap object
// and a change notice per cell.
class ExamListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    struct Row
    {
        QString Code;
        QString Name;
        QString Path;
    };
    // The role under which a row gives its exam file's path.
    static constexpr int PathRole = Qt::UserRole + 1;

    explicit ExamListModel(QObject* parent = nullptr);

    // The text colour of every row, whatever the theme: RGB(64, 64, 64).
    static QColor RowColor();

    void SetRows(QList<Row> rows);
    const QList<Row>& Rows() const { return m_rows; }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    // Keeps any header value, the column width tags among them.
    bool setHeaderData(int section, Qt::Orientation orientation, const QVariant& value, int role) override;

private:
    QList<Row> m_rows;
    QHash<int, QVariant> m_headerData[2];
};
