"""Small SVG plots, drawn by hand."""

import math
from xml.sax.saxutils import escape

COLOURS = ["#1f5fa8", "#c2571a", "#3d8b37", "#7a4fa3"]


def _document(width, height, parts):
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" font-family="sans-serif" '
            f'font-size="12">\n<rect width="{width}" height="{height}" fill="white"/>\n'
            + "\n".join(parts) + "\n</svg>\n")


def _text(x, y, text, anchor="start", extra=""):
    return f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}"{extra}>{escape(text)}</text>'


def bars(title, groups):
    """Horizontal bars. `groups`: (name, [(label, value, text)]); all values have one scale."""
    left, width, step = 210, 760, 18
    scale = (width - left - 170) / max(value for _, rows in groups for _, value, _ in rows)
    parts = [_text(10, 20, title, extra=' font-weight="bold"')]
    y = 34
    for name, rows in groups:
        y += 20
        parts.append(_text(10, y, name, extra=' font-style="italic"'))
        for label, value, text in rows:
            y += step
            colour = COLOURS[0] if label.startswith("bex") else "#9aa4ae"
            parts.append(_text(left - 8, y, label, "end"))
            parts.append(f'<rect x="{left}" y="{y - 11}" width="{value * scale:.1f}" height="13" fill="{colour}"/>')
            parts.append(_text(left + value * scale + 6, y, text))
    return _document(width, y + 16, parts)


def growth(title, unit, lines):
    """Both axes logarithmic. `lines`: (name, [(size, seconds)]). Grey: what would be linear."""
    left, top, width, height = 60, 40, 640, 400
    sizes = [size for _, points in lines for size, _ in points]
    times = [seconds for _, points in lines for _, seconds in points]
    x_low, x_high = math.log10(min(sizes)), math.log10(max(sizes))
    y_low, y_high = math.floor(math.log10(min(times))), math.ceil(math.log10(max(times)))

    def place(size, seconds):
        x = left + (math.log10(size) - x_low) / (x_high - x_low) * (width - left - 150)
        y = height - 40 - (math.log10(seconds) - y_low) / (y_high - y_low) * (height - 40 - top)
        return x, y

    parts = [_text(10, 20, title, extra=' font-weight="bold"')]
    for power in range(y_low, y_high + 1):
        x, y = place(10**x_low, 10**power)
        parts.append(f'<path d="M{left} {y:.0f}H{width - 150}" stroke="#dddddd"/>')
        parts.append(_text(left - 6, y + 4, f"{10.0**power:g} s", "end"))
    for power in range(math.ceil(x_low), math.floor(x_high) + 1):
        x, y = place(10**power, 10**y_low)
        parts.append(f'<path d="M{x:.0f} {top}V{y:.0f}" stroke="#dddddd"/>')
        parts.append(_text(x, y + 16, f"10^{power}", "middle"))
    parts.append(_text((left + width - 150) / 2, height - 8, unit, "middle"))
    for i, (name, points) in enumerate(lines):
        colour = COLOURS[i % len(COLOURS)]
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in (place(*point) for point in points))
        size, seconds = points[-1]
        ideal = [(s, seconds * s / size) for s, _ in points if seconds * s / size >= 10**y_low]
        dotted = " ".join(f"{x:.1f},{y:.1f}" for x, y in (place(*point) for point in ideal))
        parts.append(f'<polyline points="{dotted}" fill="none" stroke="#999999" stroke-dasharray="3 3"/>')
        parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>')
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>' for x, y in (place(*p) for p in points)]
        x, y = place(*points[-1])
        parts.append(_text(x + 8, y + 4, name, extra=f' fill="{colour}"'))
    return _document(width, height, parts)
