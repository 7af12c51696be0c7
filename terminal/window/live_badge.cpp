#include "terminal/window/live_badge.h"

#include "terminal/report.h"

LiveBadge::LiveBadge(QWidget *parent) : BarCell(Kind::Display, parent)
{
    setLongestTexts("PARTLY LIVE", "88888 of 88888");
    showWaiting();
}

void LiveBadge::showWaiting()
{
    setContents("WAITING", "no values yet", Tone::Warning);
    setToolTip("No value has come from the line yet.");
}

void LiveBadge::showTags(int live, int all)
{
    if (live == all)
        setContents("LIVE", QString("%1 tags").arg(all), Tone::Normal);
    else
        setContents("PARTLY LIVE", QString("%1 of %2").arg(live).arg(all), Tone::Warning);
    setToolTip(QString("%1 of %2 values are live.").arg(live).arg(all));
}

void LiveBadge::showSilence(qint64 ms)
{
    setContents("NO DATA", "for " + ageText(ms), Tone::Alarm);
    setToolTip("Nothing has come from the session: no value on this screen is live.");
}
