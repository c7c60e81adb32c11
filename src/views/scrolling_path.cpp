#include "views/scrolling_path.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// Vertices that a piece adds to the previous one. Pieces must be short, because the first one is
// rebuilt for every sample. Pieces must be few, because copying one costs about as much as adding
// ten vertices.
constexpr long kPieceLength = 64;

bool isFinite(float value)
{
    return std::isfinite(value);
}

bool areFinite(std::span<const float> samples)
{
    return std::all_of(samples.begin(), samples.end(), isFinite);
}

void keepFinite(QPolygonF &points)
{
    if (!std::isfinite(points.first().y()))
        points.first().setY(0.0);
    points.removeIf([](const QPointF &point) { return !std::isfinite(point.y()); });
}

} // namespace

const QPainterPath &ScrollingPath::update(std::span<const float> samples)
{
    if (!hasScrolled(samples)) {
        m_pieces.clear();
        m_samples.assign(samples.begin(), samples.end());
        buildVertexByVertex(samples);
        return m_path;
    }
    if (m_pieces.empty())
        cutIntoPieces();
    m_samples.assign(samples.begin(), samples.end());
    scroll(samples.back());
    buildFromPieces(samples);
    return m_path;
}

// Compares the bits, so that callers do not have to report a scroll. The cost is negligible.
bool ScrollingPath::hasScrolled(std::span<const float> samples) const
{
    if (samples.size() < 2 || samples.size() != m_samples.size() || !isFinite(samples.back()))
        return false;
    const auto kept = samples.first(samples.size() - 1);
    return std::memcmp(kept.data(), &m_samples[1], kept.size_bytes()) == 0 &&
           (!m_pieces.empty() || areFinite(m_samples));
}

void ScrollingPath::buildVertexByVertex(std::span<const float> samples)
{
    m_path.clear();
    m_points.resize(static_cast<qsizetype>(samples.size()));
    QPointF *point = m_points.data();
    for (std::size_t i = 0; i < samples.size(); ++i)
        point[i] = {static_cast<qreal>(i), static_cast<qreal>(samples[i])};
    if (!areFinite(samples))
        keepFinite(m_points);
    m_path.addPolygon(m_points);
}

void ScrollingPath::cutIntoPieces()
{
    m_piecesBegin = m_first = m_end = 0;
    for (const float sample : m_samples)
        addVertex(sample);
}

void ScrollingPath::addVertex(float y)
{
    const QPointF vertex(static_cast<qreal>(m_end), static_cast<qreal>(y));
    if (!m_pieces.empty())
        m_pieces.back().lineTo(vertex);
    if ((m_end - m_piecesBegin) % kPieceLength == 0)
        m_pieces.emplace_back(vertex);
    ++m_end;
}

void ScrollingPath::scroll(float newest)
{
    addVertex(newest);
    ++m_first;
    if (m_first == m_piecesBegin + kPieceLength) {
        m_pieces.pop_front();
        m_piecesBegin += kPieceLength;
    }
}

void ScrollingPath::buildFromPieces(std::span<const float> samples)
{
    const long firstPiece = std::min(m_piecesBegin + kPieceLength + 1, m_end) - m_first;
    m_points.resize(firstPiece);
    QPointF *point = m_points.data();
    for (long i = 0; i < firstPiece; ++i)
        point[i] = {static_cast<qreal>(m_first + i),
                    static_cast<qreal>(samples[static_cast<std::size_t>(i)])};
    m_path.clear();
    m_path.addPolygon(m_points);
    for (auto piece = std::next(m_pieces.begin()); piece != m_pieces.end(); ++piece)
        m_path.connectPath(*piece); // drops the shared vertex
    m_path.translate(static_cast<qreal>(-m_first), 0.0);
}
