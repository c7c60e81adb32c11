#pragma once

#include <deque>
#include <span>
#include <vector>

#include <QPainterPath>
#include <QPolygonF>

// The line through the last samples as a path, sample i at x = i. Samples mostly scroll: one more
// at the end, the oldest gone. Such a path is put together from pieces that are copied as they
// stand, in a fraction of the time that adding its vertices one by one takes.
//
// A value that is not finite has no vertex; in the first place it counts as 0, as in any
// QPainterPath. GUI thread only.
class ScrollingPath
{
public:
    // The path of these samples, whatever those before were. Valid until the next call, which
    // rebuilds it in its own memory if nobody holds a copy any more.
    const QPainterPath &update(std::span<const float> samples);

private:
    bool hasScrolled(std::span<const float> samples) const;
    void buildVertexByVertex(std::span<const float> samples);

    void cutIntoPieces();
    void scroll(float newest);
    void addVertex(float y);
    void buildFromPieces(std::span<const float> samples);

    QPainterPath m_path;
    std::vector<float> m_samples; // of the last update
    QPolygonF m_points;           // scratch, kept for its memory

    // While samples scroll they are numbered on, and a vertex has its number for x. Every piece
    // begins with the last vertex of the one before it; the first may begin before m_first.
    std::deque<QPainterPath> m_pieces;
    long m_piecesBegin = 0;
    long m_first = 0; // of the samples
    long m_end = 0;
};
