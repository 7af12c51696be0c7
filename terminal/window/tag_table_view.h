// The table of the tags.

#ifndef TERMINAL_WINDOW_TAG_TABLE_VIEW_H
#define TERMINAL_WINDOW_TAG_TABLE_VIEW_H

#include "terminal/window/touch_table.h"

/// Marks a value that must not be taken for live by its colours, its sign, and by striking it out.
class TagTableView : public TouchTable
{
    Q_OBJECT

public:
    /// \param model  a TagTableModel; not owned
    explicit TagTableView(QAbstractItemModel *model, QWidget *parent = nullptr);

protected:
    void fitColumns() override;

private:
    int addressRoom() const;
};

#endif // TERMINAL_WINDOW_TAG_TABLE_VIEW_H
