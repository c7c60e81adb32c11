#pragma once

#include <deque>
#include <span>
#include <vector>

#include <QPainterPath>
#include <QPolygonF>

// The line through the last samples as a path, sample i at x = i. Usually samples scroll: a new one
// is appended and the oldest is removed. The path is then assembled from pieces that are copied
// unchanged, which takes a fraction of the time of adding every vertex.
//
// A value that is not finite has no vertex, except that the first value then counts as 0, as in any
// QPainterPath. GUI thread only.
class ScrollingPath
{
public:
    // Returns the path of these samples, whatever the previous samples were. Valid until the next
    // call, which reuses the memory of the path if no copy of it exists.
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
    QPolygonF m_points;           // scratch, kept to avoid allocation

    // While samples scroll, their numbers continue, and the x of a vertex is its number. Every
    // piece begins with the last vertex of the previous one; the first piece may begin before
    // m_first.
    std::deque<QPainterPath> m_pieces;
    long m_piecesBegin = 0;
    long m_first = 0; // number of the oldest sample
    long m_end = 0;
};
