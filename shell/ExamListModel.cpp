#include "shell/ExamListModel.h"

QColor ExamListModel::RowColor()
{
    return QColor(64, 64, 64);
}

ExamListModel::ExamListModel(QObject* parent)
    : QAbstractTableModel(parent)
{
    m_headerData[0].insert(Qt::DisplayRole, tr("Code"));
    m_headerData[1].insert(Qt::DisplayRole, tr("Exam"));
}

void ExamListModel::SetRows(QList<Row> rows)
{
    beginResetModel();
    m_rows = std::move(rows);
    endResetModel();
}

int ExamListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int ExamListModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 2;
}

QVariant ExamListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    const Row& row = m_rows[index.row()];
    switch (role) {
    case Qt::DisplayRole:
        return index.column() == 0 ? row.Code : row.Name;
    case Qt::ToolTipRole:
        return index.column() == 1 ? QVariant(row.Name) : QVariant();
    case Qt::ForegroundRole:
        return RowColor();
    case PathRole:
        return row.Path;
    default:
        return {};
    }
}

QVariant ExamListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section > 1)
        return {};
    return m_headerData[section].value(role);
}

bool ExamListModel::setHeaderData(int section, Qt::Orientation orientation, const QVariant& value, int role)
{
    if (orientation != Qt::Horizontal || section < 0 || section > 1)
        return false;
    m_headerData[section].insert(role, value);
    Q_EMIT headerDataChanged(orientation, section, section);
    return true;
}
