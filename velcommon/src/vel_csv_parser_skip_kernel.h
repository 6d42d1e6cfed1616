// The kernel of vel_csv_parser_skip.h, in the instruction set of the source that includes it, once.
// That source defines VEL_CSV_PARSER_SKIP_KERNEL, the kernel's name, and
//   vel_simd_words             a vector of one or more words of 64 bits, with these functions:
//   vel_simd_rotate()          from the last word to the first, from the others to the next ones
//   vel_simd_replace_first()   the first word is the other vector's first
//   vel_simd_broadcast_last()  all words are the last one
//   vel_simd_prefix_xor()      each bit is the sum modulo 2 of its word's bits up to its place
// and, the first byte the lowest bit,
//   vel_simd_bits()            where among 64 bytes one is
//   vel_simd_has_quote_or_return_or_zero()  whether a group has one of these bytes
//   vel_simd_look()            where the bytes of each kind are among a multiple of 64 bytes;
//                              false when one is zero
//   vel_simd_popcount()        the number of bits of a word
//   vel_simd_compress()        those bits of a word that are at the places of others, side by side;
//                              only called for a skip that compresses
// No vector is kept in memory where it must be aligned: on 64-bit Windows the stack is not, for the
// large ones.

#define VEL_CSV_PARSER_INLINE static inline __attribute__((always_inline))

// Up to so many ends it is as quick to look at each.
static constexpr gint64 VEL_CSV_PARSER_FEW_ENDS = 4;

// From so many on it is quicker to compress them, where that can be done.
static constexpr gint64 VEL_CSV_PARSER_MANY_ENDS = 8;

static constexpr gsize VEL_CSV_PARSER_VECTOR_WORDS = sizeof(vel_simd_words) / sizeof(guint64);

// What crosses from one byte to the next. Flags are the lowest bit.
typedef struct vel_csv_parser_carry {
    guint64 inside;   ///< All bits: the byte before is inside quotes.
    guint64 quote;    ///< Flag: the byte before is a quote.
    guint64 plain;    ///< Flag: the byte before is part of a field without quotes.
    guint64 returned; ///< Flag: the byte before is a carriage return that ended a record.
} vel_csv_parser_carry;

// What the last groups were like, for a guess at what the next ones are like.
typedef struct vel_csv_parser_hint {
    bool busy;  ///< The last one had quotes or carriage returns, or ended inside quotes.
    bool deep;  ///< All of it lay inside quotes.
    bool exact; ///< None had to be left to the exact reader.
} vel_csv_parser_hint;

// Bits of what counts.
typedef struct vel_csv_parser_events {
    guint64 separators[VEL_CSV_PARSER_BATCH_WORDS]; ///< Separators between two fields.
    guint64 ends[VEL_CSV_PARSER_BATCH_WORDS];       ///< Line feeds and returns that end a record.
} vel_csv_parser_events;

static inline vel_csv_parser_carry vel_csv_parser_carry_of(vel_csv_parser_place place)
{
    vel_csv_parser_carry carry;
    carry.inside = place == VEL_CSV_PARSER_PLACE_QUOTED ? ~guint64{0} : 0;
    carry.quote = place == VEL_CSV_PARSER_PLACE_QUOTE ? 1 : 0;
    carry.plain = place == VEL_CSV_PARSER_PLACE_UNQUOTED ? 1 : 0;
    carry.returned = place == VEL_CSV_PARSER_PLACE_RETURN ? 1 : 0;
    return carry;
}

static inline vel_csv_parser_place vel_csv_parser_carry_place(vel_csv_parser_carry carry)
{
    if (carry.inside != 0)
        return VEL_CSV_PARSER_PLACE_QUOTED;
    if (carry.quote != 0)
        return VEL_CSV_PARSER_PLACE_QUOTE;
    if (carry.returned != 0)
        return VEL_CSV_PARSER_PLACE_RETURN;
    return carry.plain != 0 ? VEL_CSV_PARSER_PLACE_UNQUOTED : VEL_CSV_PARSER_PLACE_START;
}

VEL_CSV_PARSER_INLINE vel_simd_words vel_simd_load_words(const guint64 *words)
{
    vel_simd_words vector;
    std::memcpy(&vector, words, sizeof vector);
    return vector;
}

VEL_CSV_PARSER_INLINE void vel_simd_store_words(guint64 *words, vel_simd_words vector)
{
    std::memcpy(words, &vector, sizeof vector);
}

// Moves each bit to the place of the next byte.
// @param before  in and out: its first word has the bit of the byte before
VEL_CSV_PARSER_INLINE vel_simd_words vel_csv_parser_next(vel_simd_words bits,
                                                         vel_simd_words *before)
{
    const vel_simd_words rotated = vel_simd_rotate(bits >> 63);
    const vel_simd_words in = vel_simd_replace_first(rotated, *before);
    *before = rotated;
    return bits << 1 | in;
}

// Finds which bytes are inside quotes, the opening quote too, the closing one not.
// @param before  in and out: all bits when the byte before is inside quotes
VEL_CSV_PARSER_INLINE vel_simd_words vel_csv_parser_inside(vel_simd_words quotes,
                                                           vel_simd_words *before)
{
    const vel_simd_words none = {};
    vel_simd_words inside = quotes;
    vel_simd_prefix_xor(&inside);
    // All bits of the words that have an odd number of quotes, then of those that have it with all
    // in front of them.
    vel_simd_words odd = none - (inside >> 63);
    vel_simd_words sum = odd;
    for (gsize word = 1; word < VEL_CSV_PARSER_VECTOR_WORDS; word++) {
        odd = vel_simd_replace_first(vel_simd_rotate(odd), none);
        sum ^= odd;
    }
    inside ^= *before ^ vel_simd_replace_first(vel_simd_rotate(sum), none);
    *before ^= vel_simd_broadcast_last(sum);
    return inside;
}

// Looks at all bytes of some groups. Not inlined: what is written here in small pieces is read as
// vectors, which takes a while to get through, and best waits until all groups have been seen.
template <gsize groups>
static __attribute__((noinline)) bool vel_csv_parser_look(const guint8 *bytes, guint8 separator,
                                                          vel_csv_parser_masks *masks)
{
    return vel_simd_look(bytes, groups * VEL_CSV_PARSER_GROUP, separator, masks);
}

// Finds what counts, and what is carried on. False when a quote is irregular: a byte outside of
// quotes that is neither separator nor end stands next to it.
template <gsize groups>
static __attribute__((noinline)) bool vel_csv_parser_classify(const vel_csv_parser_masks *masks,
                                                              vel_csv_parser_carry *carry,
                                                              vel_csv_parser_events *events)
{
    vel_simd_words inside_before = vel_simd_words{} + carry->inside;
    vel_simd_words quote_before = {carry->quote};
    vel_simd_words plain_before = {carry->plain};
    vel_simd_words return_before = {carry->returned};
    vel_simd_words irregular = {};
    for (gsize word = 0; word < groups * VEL_CSV_PARSER_GROUP_WORDS;
         word += VEL_CSV_PARSER_VECTOR_WORDS) {
        const vel_simd_words quotes = vel_simd_load_words(masks->quotes + word);
        const vel_simd_words returns = vel_simd_load_words(masks->returns + word);
        const vel_simd_words separators = vel_simd_load_words(masks->separators + word);
        const vel_simd_words feeds = vel_simd_load_words(masks->feeds + word);
        // A line feed right behind a return is no end of its own.
        const vel_simd_words ends =
            (feeds & ~vel_csv_parser_next(returns, &return_before)) | returns;
        const vel_simd_words inside = vel_csv_parser_inside(quotes, &inside_before);
        const vel_simd_words plain = ~(inside | quotes | separators | feeds | returns);
        irregular |= vel_csv_parser_next(quotes, &quote_before) & plain;
        irregular |= vel_csv_parser_next(plain, &plain_before) & quotes;
        vel_simd_store_words(events->separators + word, separators & ~inside);
        vel_simd_store_words(events->ends + word, ends & ~inside);
    }
    guint64 any = 0;
    for (gsize word = 0; word < VEL_CSV_PARSER_VECTOR_WORDS; word++)
        any |= irregular[word];
    if (any != 0)
        return false;
    *carry = {inside_before[0], quote_before[0], plain_before[0], return_before[0]};
    return true;
}

// Takes away what is behind the n-th end. Returns the bytes up to there.
static inline gsize vel_csv_parser_cut(vel_csv_parser_events *events, gsize words, gint64 n)
{
    gsize word = 0;
    for (gint64 here; word + 1 < words && n > (here = vel_simd_popcount(events->ends[word]));
         word++)
        n -= here;
    guint64 end = events->ends[word];
    while (--n > 0)
        end &= end - 1;
    end &= ~end + 1;
    const guint64 kept = end | (end - 1);
    events->ends[word] &= kept;
    events->separators[word] &= kept;
    const gsize length = word * 64 + static_cast<gsize>(__builtin_ctzll(end)) + 1;
    while (++word < words)
        events->ends[word] = events->separators[word] = 0;
    return length;
}

// The bytes up to the last end, of which there is one.
static inline gsize vel_csv_parser_up_to_end(const vel_csv_parser_events *events, gsize words)
{
    gsize word = words - 1;
    while (events->ends[word] == 0)
        word--;
    return 64 * word + 64 - static_cast<gsize>(__builtin_clzll(events->ends[word]));
}

// Counts fields, end by end.
template <gsize words>
VEL_CSV_PARSER_INLINE void vel_csv_parser_count_each(vel_csv_parser_skip *walk,
                                                     const guint64 *all_separators,
                                                     const guint64 *all_ends)
{
    gint64 fields = walk->fields;
    gint64 most = walk->max_fields - 1;
    for (gsize word = 0; word < words; word++) {
        const guint64 separators = all_separators[word];
        for (guint64 ends = all_ends[word]; ends != 0; ends &= ends - 1) {
            const gint64 before = vel_simd_popcount(separators & (ends ^ (ends - 1)));
            most = MAX(most, fields + before);
            fields = -before;
        }
        fields += vel_simd_popcount(separators);
    }
    walk->fields = fields;
    walk->max_fields = most + 1;
}

// Finds the separators that follow one of those given without an end of a record between them. A
// bit that is added to the places between two events is carried to the later one.
// @param events  separators and ends
// @param carry   in and out: whether the last event before the word is one given
static inline guint64 vel_csv_parser_chain(guint64 separators, guint64 events, guint64 given,
                                           guint64 *carry)
{
    guint64 sum;
    const bool over = __builtin_add_overflow(~events, given << 1 | *carry, &sum);
    *carry = given >> 63 | (over ? 1 : 0);
    return sum & separators;
}

// Counts fields when the largest record had two or three so far and the present one has fewer.
// Nothing is counted, and the answer is false, when one may be larger.
template <gsize words>
VEL_CSV_PARSER_INLINE bool vel_csv_parser_count_short(vel_csv_parser_skip *walk,
                                                      const vel_csv_parser_events *events)
{
    const bool three = walk->max_fields == 3;
    guint64 one = walk->fields > 0 ? 1 : 0;
    guint64 two = walk->fields > 1 ? 1 : 0;
    guint64 larger = 0;
    for (gsize word = 0; word < words; word++) {
        const guint64 separators = events->separators[word];
        const guint64 all = separators | events->ends[word];
        guint64 next = vel_csv_parser_chain(separators, all, separators, &one);
        if (three)
            next = vel_csv_parser_chain(separators, all, next, &two);
        larger |= next;
    }
    if (larger != 0)
        return false;
    walk->fields = static_cast<gint64>(one + two);
    return true;
}

// Counts the fields of a group without looking at each end, when no record in it is larger than the
// largest so far. Nothing is counted, and the answer is false, when one may be larger, or when
// there are too many separators and ends.
VEL_CSV_PARSER_INLINE bool vel_csv_parser_count_row(vel_csv_parser_skip *walk,
                                                    const guint64 *separators, const guint64 *ends)
{
    // One bit for each separator and none for each end, one behind the other, so that a record is a
    // run of ones; the separators of the present record in front.
    guint64 row = walk->fields < 64 ? (guint64{1} << walk->fields) - 1 : 0;
    gint64 length = walk->fields;
    for (gsize word = 0; word < VEL_CSV_PARSER_GROUP_WORDS && length < 64; word++) {
        const guint64 events = separators[word] | ends[word];
        row |= vel_simd_compress(separators[word], events) << length;
        length += vel_simd_popcount(events);
    }
    if (length == 0 || length > 63)
        return length == 0;
    if (walk->max_fields < 64) {
        // What is left of runs that long are the places where they begin.
        guint64 larger = row;
        gint64 run = 1;
        for (; run * 2 <= walk->max_fields; run *= 2)
            larger &= larger >> run;
        larger &= larger >> (walk->max_fields - run);
        if (larger != 0)
            return false;
    }
    walk->fields = __builtin_clzll(~(row << (64 - length)));
    return true;
}

template <gsize words>
VEL_CSV_PARSER_INLINE void vel_csv_parser_count_fields(vel_csv_parser_skip *walk,
                                                       const vel_csv_parser_events *events,
                                                       gint64 ends)
{
    const bool is_short = walk->max_fields == 2 || walk->max_fields == 3;
    if (ends > VEL_CSV_PARSER_FEW_ENDS && is_short && walk->fields < walk->max_fields &&
        vel_csv_parser_count_short<words>(walk, events))
        return;
    if (ends <= VEL_CSV_PARSER_MANY_ENDS || !walk->compresses || walk->max_fields == 0) {
        vel_csv_parser_count_each<words>(walk, events->separators, events->ends);
        return;
    }
    for (gsize word = 0; word < words; word += VEL_CSV_PARSER_GROUP_WORDS) {
        if (!vel_csv_parser_count_row(walk, events->separators + word, events->ends + word))
            vel_csv_parser_count_each<VEL_CSV_PARSER_GROUP_WORDS>(walk, events->separators + word,
                                                                  events->ends + word);
    }
}

// Walks over what was found in some words. False when no more records are wanted then.
template <gsize words>
VEL_CSV_PARSER_INLINE bool vel_csv_parser_take(vel_csv_parser_skip *walk,
                                               vel_csv_parser_events *events, bool only_records)
{
    guint64 any = 0;
    for (gsize word = 0; word < words; word++)
        any |= events->ends[word];
    gint64 ends = 0;
    if (any != 0) {
        for (gsize word = 0; word < words; word++)
            ends += vel_simd_popcount(events->ends[word]);
    }
    const bool enough = ends >= walk->wanted;
    const gsize length = enough ? vel_csv_parser_cut(events, words, walk->wanted) : 64 * words;
    walk->wanted = enough ? 0 : walk->wanted - ends;
    if (!only_records)
        vel_csv_parser_count_fields<words>(walk, events, ends);
    else if (ends > 0)
        walk->record = walk->pos + vel_csv_parser_up_to_end(events, words);
    walk->pos += length;
    return !enough;
}

// Takes some groups, whatever is in them. False when no more records are wanted then, or when the
// one group is for the exact reader; several that have such a one are not taken.
template <gsize groups>
VEL_CSV_PARSER_INLINE bool vel_csv_parser_take_any(vel_csv_parser_skip *walk,
                                                   vel_csv_parser_carry *carry,
                                                   vel_csv_parser_hint *hint, bool only_records)
{
    constexpr gsize words = groups * VEL_CSV_PARSER_GROUP_WORDS;
    vel_csv_parser_masks masks;
    vel_csv_parser_events events;
    const bool exact = vel_csv_parser_look<groups>(walk->pos, walk->separator, &masks) &&
                       vel_csv_parser_classify<groups>(&masks, carry, &events);
    hint->exact = exact;
    if (!exact)
        return groups > 1;
    guint64 quotes = 0;
    guint64 returns = 0;
    for (gsize word = words - VEL_CSV_PARSER_GROUP_WORDS; word < words; word++) {
        quotes |= masks.quotes[word];
        returns |= masks.returns[word];
    }
    hint->deep = carry->inside != 0 && quotes == 0;
    hint->busy = (carry->inside | quotes | returns) != 0;
    return vel_csv_parser_take<words>(walk, &events, only_records);
}

// Takes a group that has neither quotes nor carriage returns nor zeros.
VEL_CSV_PARSER_INLINE bool vel_csv_parser_take_plain(vel_csv_parser_skip *walk, bool only_records)
{
    vel_csv_parser_events events;
    for (gsize word = 0; word < VEL_CSV_PARSER_GROUP_WORDS; word++) {
        events.ends[word] = vel_simd_bits(walk->pos + 64 * word, '\n');
        events.separators[word] =
            only_records ? 0 : vel_simd_bits(walk->pos + 64 * word, walk->separator);
    }
    return vel_csv_parser_take<VEL_CSV_PARSER_GROUP_WORDS>(walk, &events, only_records);
}

// Whether so many groups can be taken.
VEL_CSV_PARSER_INLINE bool vel_csv_parser_has_groups(const vel_csv_parser_skip *walk, gint64 n)
{
    // Whether a line feed follows a return at the end of the block only the next block tells.
    const gint64 left = walk->end - walk->pos - (walk->end[-1] == '\r' ? 1 : 0);
    return left >= n * gint64{VEL_CSV_PARSER_GROUP} && walk->fields < walk->fields_limit;
}

// Takes groups up to one that has quotes, carriage returns or zeros. False when no more records are
// wanted. Not one function with vel_csv_parser_walk_any(), which would leave too few registers.
template <bool only_records>
static __attribute__((noinline)) bool vel_csv_parser_walk_plain(vel_csv_parser_skip *skip,
                                                                vel_csv_parser_carry *carry)
{
    vel_csv_parser_skip walk = *skip;
    bool more = true;
    while (more && vel_csv_parser_has_groups(&walk, 1) &&
           !vel_simd_has_quote_or_return_or_zero(walk.pos))
        more = vel_csv_parser_take_plain(&walk, only_records);
    if (walk.pos > skip->pos) {
        const guint8 last = walk.pos[-1];
        carry->plain = last == walk.separator || last == '\n' ? 0 : 1;
    }
    *skip = walk;
    return more;
}

// Passes over groups inside quotes up to one that has quotes, carriage returns or zeros. What is
// carried stays what it was: inside quotes nothing else counts.
static void vel_csv_parser_walk_deep(vel_csv_parser_skip *walk)
{
    while (vel_csv_parser_has_groups(walk, 1) && !vel_simd_has_quote_or_return_or_zero(walk->pos))
        walk->pos += VEL_CSV_PARSER_GROUP;
}

// Takes groups as long as they have quotes or carriage returns. False when no more records are
// wanted, there are no more groups, or the next is for the exact reader.
template <bool only_records>
static __attribute__((noinline)) bool vel_csv_parser_walk_any(vel_csv_parser_skip *skip,
                                                              vel_csv_parser_carry *carry)
{
    vel_csv_parser_skip walk = *skip;
    vel_csv_parser_hint hint = {true, false, true};
    bool more = true;
    while (more && hint.busy && vel_csv_parser_has_groups(&walk, 1)) {
        if (hint.exact && vel_csv_parser_has_groups(&walk, VEL_CSV_PARSER_BATCH))
            more = vel_csv_parser_take_any<VEL_CSV_PARSER_BATCH>(&walk, carry, &hint, only_records);
        else
            more = vel_csv_parser_take_any<1>(&walk, carry, &hint, only_records);
        if (more && hint.deep)
            vel_csv_parser_walk_deep(&walk);
    }
    *skip = walk;
    return more && !hint.busy;
}

template <bool only_records> static void vel_csv_parser_walk_groups(vel_csv_parser_skip *walk)
{
    vel_csv_parser_carry carry = vel_csv_parser_carry_of(walk->place);
    bool more = true;
    while (more) {
        const bool behind = (carry.inside | carry.quote | carry.returned) != 0;
        more = (behind || vel_csv_parser_walk_plain<only_records>(walk, &carry)) &&
               vel_csv_parser_walk_any<only_records>(walk, &carry);
    }
    if (walk->wanted > 0)
        walk->place = vel_csv_parser_carry_place(carry);
    else
        walk->place =
            walk->pos[-1] == '\r' ? VEL_CSV_PARSER_PLACE_RETURN : VEL_CSV_PARSER_PLACE_START;
}

void VEL_CSV_PARSER_SKIP_KERNEL(vel_csv_parser_skip *skip)
{
    if (skip->only_records)
        vel_csv_parser_walk_groups<true>(skip);
    else
        vel_csv_parser_walk_groups<false>(skip);
}
