#include "terminal/window/tag_table_view.h"

#include <QHeaderView>
#include <QPainter>
#include <QStyledItemDelegate>

#include "terminal/window/state_sign.h"
#include "terminal/window/tag_table_model.h"
#include "terminal/window/theme.h"

namespace
{

/// For what columns are wide enough. The addresses do not change and are measured; the names have
/// what is left.
struct ColumnRoom {
    TagTableModel::Column column;
    const char *text;
};
const ColumnRoom ColumnRooms[] = {{TagTableModel::Station, "Station"},
                                  {TagTableModel::Value, "? 4294967295"},
                                  {TagTableModel::Age, "88888.8 s"},
                                  {TagTableModel::State, "waiting"}};
const char WidestAddress[] = "255-PA0011234.31"; ///< that is not cut
const int SignSize = 16;
const int CellMargin = Theme::Gap; ///< on either side

int marginOf(const QFont &font)
{
    return Theme::scaled(font, CellMargin);
}

class TagDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override
    {
        const TagState state = static_cast<TagState>(index.data(TagTableModel::StateRole).toInt());
        painter->save();
        painter->fillRect(option.rect, QColor(stateSurface(state)));
        painter->setPen(QColor(Theme::Rule));
        painter->drawLine(option.rect.bottomLeft(), option.rect.bottomRight());
        const int margin = marginOf(option.font);
        QRect room = option.rect.adjusted(margin, 0, -margin, 0);
        paintSign(painter, option.font, index, &room);
        paintText(painter, option.font, index, room);
        painter->restore();
    }

private:
    /// Takes the sign's room away from the text's.
    static void paintSign(QPainter *painter, const QFont &font, const QModelIndex &index,
                          QRect *room)
    {
        const int pen = index.data(TagTableModel::PenRole).toInt();
        const bool ofPen = index.column() == TagTableModel::Name && pen >= 0;
        if (!ofPen && index.column() != TagTableModel::State)
            return;
        const int side = Theme::scaled(font, SignSize);
        const QRectF square = signSquare(*room, side);
        painter->setFont(font);
        if (ofPen)
            paintPenSign(painter, square, pen);
        else
            paintStateSign(painter, square,
                           static_cast<TagState>(index.data(TagTableModel::StateRole).toInt()));
        room->setLeft(room->left() + side + marginOf(font));
    }

    static void paintText(QPainter *painter, QFont font, const QModelIndex &index,
                          const QRect &room)
    {
        const TagState state = static_cast<TagState>(index.data(TagTableModel::StateRole).toInt());
        const bool isValue = index.column() == TagTableModel::Value;
        font.setBold(isValue || (index.column() == TagTableModel::State && isDoubtful(state)));
        painter->setFont(font);
        painter->setPen(QColor(stateText(state)));
        const QFontMetrics metrics(font);
        const QString whole = index.data().toString();
        const QString text = metrics.elidedText(whole, Qt::ElideRight, room.width());
        const int alignment = index.data(Qt::TextAlignmentRole).toInt() | Qt::TextSingleLine;
        painter->drawText(room, alignment, text);
        if (isValue && isDoubtful(state) && index.data(TagTableModel::HasValueRole).toBool())
            strikeOut(painter, metrics.boundingRect(room, alignment, text));
    }

    static void strikeOut(QPainter *painter, const QRect &text)
    {
        const int thickness = qMax(1, text.height() / 10);
        painter->fillRect(text.left(), text.center().y() - thickness / 2, text.width(), thickness,
                          painter->pen().color());
    }
};

} // namespace

TagTableView::TagTableView(QAbstractItemModel *model, QWidget *parent) : TouchTable(parent)
{
    setModel(model);
    setItemDelegate(new TagDelegate(this));
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    horizontalHeader()->setSectionResizeMode(TagTableModel::Name, QHeaderView::Stretch);
    connect(model, &QAbstractItemModel::modelReset, this, &TagTableView::fitColumns);
}

void TagTableView::fitColumns()
{
    const QFont bold = Theme::boldFont(font());
    const int margin = marginOf(font());
    for (const ColumnRoom &room : ColumnRooms) {
        int width = Theme::textWidth(bold, room.text) + 2 * margin;
        if (room.column == TagTableModel::State)
            width += Theme::scaled(font(), SignSize) + margin;
        setColumnWidth(room.column, width);
    }
    setColumnWidth(TagTableModel::Address, addressRoom() + 2 * margin);
}

int TagTableView::addressRoom() const
{
    const int most = Theme::textWidth(font(), WidestAddress);
    int widest = Theme::textWidth(font(), "Address");
    for (int row = 0; row < model()->rowCount() && widest < most; ++row) {
        const QString address = model()->index(row, TagTableModel::Address).data().toString();
        widest = qMax(widest, Theme::textWidth(font(), address));
    }
    return qMin(widest, most);
}
