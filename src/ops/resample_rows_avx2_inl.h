// Resampling along rows with AVX2. Included inside the AVX2 region; no include guard.

/// Outputs `output` to `end` - 1, none of which is in a quad; either all of their windows are words or none.
inline void resampleRun(const Band& band, const ResamplePlan& plan, std::size_t output, std::size_t end) {
    const bool byWords = output < end && plan.windows()[output].wordRule.usable();
    std::size_t made = 0;
    for (; output < end; output += std::max<std::size_t>(made, 1)) {
        made = byWords ? makeWordTile(band, plan, output, end, made) : makeFloatTile(band, plan, output, end, made);
        if (made != 0) continue;
        makeColumns(band, plan, output, output + 1, [&](Column& column, const ResamplePlan::Window& window) {
            makeWideColumn(column, band, plan, window);
        });
    }
}

/// Outputs `output` to `end` - 1, none of which is in a quad.
inline void resampleColumns(const Band& band, const ResamplePlan& plan, std::size_t output, std::size_t end) {
    for (const std::size_t turn : plan.turns()) {
        if (turn <= output) continue;
        const std::size_t next = std::min(turn, end);
        resampleRun(band, plan, output, next);
        output = next;
        if (output >= end) return;
    }
}

/// Runs of quads that follow each other, and what lies between them.
inline void resampleBand(const Band& band, const ResamplePlan& plan) {
    std::span<const ByteQuad> quads = plan.quads();
    std::size_t output = 0;
    while (!quads.empty()) {
        resampleColumns(band, plan, output, quads.front().output);
        std::size_t count = 1;
        while (count < quads.size() && quads[count].output == quads[count - 1].output + 4)
            ++count;
        makeQuads(band, quads.first(count));
        output = quads[count - 1].output + 4;
        quads = quads.subspan(count);
    }
    resampleColumns(band, plan, output, plan.windows().size());
}

/// Up to eight rows of four channels.
inline void resampleFourChannels(unsigned char* const* destinations, const unsigned char* const* sources,
                                 std::size_t rowCount, const ResamplePlan& plan) {
    Band band{};
    for (std::size_t row = 0; row < kBandRows; ++row) {
        const std::size_t taken = std::min(row, rowCount - 1);
        band.destinations[row] = destinations[taken];
        band.sources[row] = sources[taken];
    }
    // Where rows lie at even distances, as those of an image do, the next band follows.
    const auto distance = [&band](std::size_t row) {
        return reinterpret_cast<std::uintptr_t>(band.sources[row]) - reinterpret_cast<std::uintptr_t>(band.sources[0]);
    };
    if (distance(7) == 7 * distance(1)) band.ahead = 8 * distance(1);
    resampleBand(band, plan);
}
