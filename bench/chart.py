"""Draws bars of CPU time per request as an SVG picture."""

import html

WIDTH, LABEL, BAR, GAP = 760, 150, 15, 26
OURS, OTHERS = "#1f6feb", "#9aa4b2"


def draw(title, groups, ours):
    """@param groups [(name, [(peer, microseconds), ...]), ...], each drawn on a scale of its own."""
    parts = []
    y = 40
    for name, rows in groups:
        parts.append(_text(10, y + 14, name, bold=True))
        y += GAP
        longest = max(value for _, value in rows)
        for peer, value in rows:
            length = max(1.0, (WIDTH - LABEL - 130) * value / longest)
            colour = OURS if peer == ours else OTHERS
            parts.append(_text(LABEL - 8, y + 12, peer, anchor="end"))
            parts.append(f'<rect x="{LABEL}" y="{y}" width="{length:.1f}" height="{BAR}" '
                         f'fill="{colour}"/>')
            parts.append(_text(LABEL + length + 6, y + 12, f"{value:,.0f} µs"))
            y += BAR + 5
        y += 12
    head = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{y}" '
            f'viewBox="0 0 {WIDTH} {y}" font-family="sans-serif" font-size="12">\n'
            f'<rect width="{WIDTH}" height="{y}" fill="white"/>\n')
    return head + "\n".join([_text(10, 22, title, bold=True, size=15), *parts]) + "\n</svg>\n"


def _text(x, y, text, anchor="start", bold=False, size=12):
    weight = ' font-weight="bold"' if bold else ""
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}"{weight}>'
            f"{html.escape(text)}</text>")
