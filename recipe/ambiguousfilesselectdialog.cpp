#include "recipe/ambiguousfilesselectdialog.h"

#include <QDialogButtonBox>
#include <QFont>
#include <QLabel>
#include <QListWidget>
#include <QListWidgetItem>
#include <QVBoxLayout>

namespace
{

const int Width = 400;
const int Height = 300;
const int LabelPoints = 12;
const int ListPoints = 13;

QFont dialogFont(int points)
{
    return QFont(QString::fromLatin1("DejaVu Sans"), points);
}

QLabel *newLabel(QWidget *parent)
{
    QLabel *const label =
        new QLabel(QString::fromLatin1("Please select a file to write data to DMC50:"), parent);
    label->setObjectName(QString::fromLatin1("label"));
    label->setFont(dialogFont(LabelPoints));
    return label;
}

QListWidget *newList(QWidget *parent)
{
    QListWidget *const list = new QListWidget(parent);
    list->setObjectName(QString::fromLatin1("listWidget"));
    list->setFont(dialogFont(ListPoints));
    return list;
}

QDialogButtonBox *newButtonBox(QWidget *parent)
{
    QDialogButtonBox *const box =
        new QDialogButtonBox(QDialogButtonBox::Ok, Qt::Horizontal, parent);
    box->setObjectName(QString::fromLatin1("buttonBox"));
    return box;
}

} // namespace

ambiguousFilesSelectDialog::ambiguousFilesSelectDialog(QWidget *parent)
    : QDialog(parent, Qt::CustomizeWindowHint | Qt::WindowStaysOnTopHint),
      m_list_widget(newList(this))
{
    setObjectName(QString::fromLatin1("ambiguousFilesSelectDialog"));
    setWindowTitle(QString::fromLatin1("Dialog"));
    resize(Width, Height);

    QVBoxLayout *const layout = new QVBoxLayout(this);
    layout->setObjectName(QString::fromLatin1("verticalLayout"));
    layout->addWidget(newLabel(this));
    layout->addWidget(m_list_widget);
    QDialogButtonBox *const box = newButtonBox(this);
    layout->addWidget(box);
    connect(box, SIGNAL(accepted()), this, SLOT(accept()));
    connect(box, SIGNAL(rejected()), this, SLOT(reject()));
}

void ambiguousFilesSelectDialog::addItems(const QStringList &names)
{
    m_list_widget->addItems(names);
    if (!names.isEmpty())
        m_list_widget->setCurrentRow(0);
}

QString ambiguousFilesSelectDialog::getFileName() const
{
    const QList<QListWidgetItem *> selected = m_list_widget->selectedItems();
    return selected.isEmpty() ? QString() : selected.first()->text();
}
