// The kernel of vel_csv_parser_skip.h, in the instruction set of the source that includes it, once.
// That source defines VEL_CSV_PARSER_SKIP_KERNEL, the kernel's name, and these functions, the first
// of them on 64 bytes, of which the first is the result's lowest bit, the others on a group:
//   vel_simd_bits()        where a byte is
//   vel_simd_has_quote_or_return_or_zero(), vel_simd_has_return(), vel_simd_has_zero()
// and on 64 bits:
//   vel_simd_prefix_xor()  each bit of the result is the sum modulo 2 of the bits up to its place
//   vel_simd_popcount()
// No vector is kept in memory: on 64-bit Windows the stack is not aligned for the large ones.

// Up to so many ends in a group it is as quick to look at each.
static constexpr gint64 VEL_CSV_PARSER_FEW_ENDS = 4;

// What crosses from one byte to the next. Flags are bits at the place of the next byte.
typedef struct vel_csv_parser_carry {
    guint64 inside;   ///< All bits: the byte before is inside quotes.
    guint64 opens;    ///< Flag: a quote may open a field here.
    guint64 closed;   ///< Flag: the byte before is a quote that closed a field.
    guint64 returned; ///< Flag: the byte before is a carriage return that ended a record.
} vel_csv_parser_carry;

// What the group before was like, for a guess at what the next one is like.
typedef struct vel_csv_parser_mood {
    bool busy;    ///< It had quotes or carriage returns, or lay inside quotes.
    bool returns; ///< It had carriage returns.
    bool deep;    ///< All of it lay inside quotes.
} vel_csv_parser_mood;

// Bits of what counts in a group.
typedef struct vel_csv_parser_group {
    guint64 separators[VEL_CSV_PARSER_GROUP_WORDS]; ///< Separators between two fields.
    guint64 ends[VEL_CSV_PARSER_GROUP_WORDS];       ///< Line feeds and returns that end a record.
    guint64 specials[VEL_CSV_PARSER_GROUP_WORDS];   ///< Separators, line feeds and returns.
} vel_csv_parser_group;

static inline vel_csv_parser_carry vel_csv_parser_carry_of(vel_csv_parser_place place, gsize bit)
{
    const guint64 flag = guint64{1} << bit;
    vel_csv_parser_carry carry;
    carry.inside = place == VEL_CSV_PARSER_PLACE_QUOTED ? ~guint64{0} : 0;
    carry.closed = place == VEL_CSV_PARSER_PLACE_QUOTE ? flag : 0;
    carry.returned = place == VEL_CSV_PARSER_PLACE_RETURN ? flag : 0;
    carry.opens = place == VEL_CSV_PARSER_PLACE_START ? flag : carry.closed | carry.returned;
    return carry;
}

static inline vel_csv_parser_place vel_csv_parser_carry_place(vel_csv_parser_carry carry)
{
    if (carry.inside != 0)
        return VEL_CSV_PARSER_PLACE_QUOTED;
    if (carry.closed != 0)
        return VEL_CSV_PARSER_PLACE_QUOTE;
    if (carry.returned != 0)
        return VEL_CSV_PARSER_PLACE_RETURN;
    return carry.opens != 0 ? VEL_CSV_PARSER_PLACE_START : VEL_CSV_PARSER_PLACE_UNQUOTED;
}

// Puts the bits of a byte in a word for each 64 bytes, without those in front of `start`.
static inline void vel_simd_group_bits(const guint8 *bytes, gsize start, guint8 byte, guint64 *bits)
{
    for (gsize word = 0; word < VEL_CSV_PARSER_GROUP_WORDS; word++) {
        bits[word] = vel_simd_bits(bytes + 64 * word, byte);
        if (word * 64 + 64 <= start)
            bits[word] = 0;
        else if (word * 64 < start)
            bits[word] &= ~guint64{0} << start % 64;
    }
}

// Makes ends of carriage returns, and of line feeds only those that do not follow one. Quotes come
// later.
static inline void vel_csv_parser_apply_returns(vel_csv_parser_group *group, const guint64 *returns,
                                                gsize first, vel_csv_parser_carry *carry)
{
    for (gsize word = first; word < VEL_CSV_PARSER_GROUP_WORDS; word++) {
        group->specials[word] |= returns[word];
        const guint64 pairs = group->ends[word] & (returns[word] << 1 | carry->returned);
        group->ends[word] = (group->ends[word] ^ pairs) | returns[word];
        carry->returned = returns[word] >> 63;
    }
}

// Leaves of the separators and ends of a group those outside quotes. The answer has no bit when
// all quotes are regular.
static inline guint64 vel_csv_parser_apply_quotes(vel_csv_parser_group *group,
                                                  const guint64 *quotes, gsize first,
                                                  vel_csv_parser_carry *carry)
{
    guint64 irregular = 0;
    for (gsize word = first; word < VEL_CSV_PARSER_GROUP_WORDS; word++) {
        const guint64 quote = quotes[word];
        const guint64 inside = vel_simd_prefix_xor(quote) ^ carry->inside;
        const guint64 special = group->specials[word] | quote;
        const guint64 closing = quote & ~inside;
        irregular |= quote & inside & ~(special << 1 | carry->opens);
        irregular |= (closing << 1 | carry->closed) & ~special;
        group->separators[word] &= ~inside;
        group->ends[word] &= ~inside;
        carry->inside = static_cast<guint64>(static_cast<gint64>(inside) >> 63);
        carry->opens = special >> 63;
        carry->closed = closing >> 63;
    }
    return irregular;
}

// Cuts off what is behind the n-th end. Returns the bytes up to there.
static inline gsize vel_csv_parser_cut_group(vel_csv_parser_group *group, gint64 n)
{
    gsize word = 0;
    for (gint64 here; n > (here = vel_simd_popcount(group->ends[word])); word++)
        n -= here;
    guint64 end = group->ends[word];
    while (--n > 0)
        end &= end - 1;
    end &= ~end + 1;
    const guint64 kept = end | (end - 1);
    group->ends[word] &= kept;
    group->separators[word] &= kept;
    const gsize length = word * 64 + static_cast<gsize>(__builtin_ctzll(end)) + 1;
    while (++word < VEL_CSV_PARSER_GROUP_WORDS)
        group->ends[word] = group->separators[word] = 0;
    return length;
}

// Counts the fields of a group, end by end.
static inline void vel_csv_parser_count_each(vel_csv_parser_skip *skip,
                                             const vel_csv_parser_group *group)
{
    gint64 fields = skip->fields;
    gint64 most = skip->max_fields - 1;
    for (gsize word = 0; word < VEL_CSV_PARSER_GROUP_WORDS; word++) {
        const guint64 separators = group->separators[word];
        for (guint64 ends = group->ends[word]; ends != 0; ends &= ends - 1) {
            const gint64 before = vel_simd_popcount(separators & (ends ^ (ends - 1)));
            most = MAX(most, fields + before);
            fields = -before;
        }
        fields += vel_simd_popcount(separators);
    }
    skip->fields = fields;
    skip->max_fields = most + 1;
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

// Counts the fields of a group of records when the largest had two or three so far and the present
// one has fewer. Nothing is counted, and the answer is false, when one may be larger.
static inline bool vel_csv_parser_count_short(vel_csv_parser_skip *skip,
                                              const vel_csv_parser_group *group)
{
    const bool three = skip->max_fields == 3;
    guint64 one = skip->fields > 0 ? 1 : 0;
    guint64 two = skip->fields > 1 ? 1 : 0;
    guint64 larger = 0;
    for (gsize word = 0; word < VEL_CSV_PARSER_GROUP_WORDS; word++) {
        const guint64 separators = group->separators[word];
        const guint64 events = separators | group->ends[word];
        guint64 next = vel_csv_parser_chain(separators, events, separators, &one);
        if (three)
            next = vel_csv_parser_chain(separators, events, next, &two);
        larger |= next;
    }
    if (larger != 0)
        return false;
    skip->fields = static_cast<gint64>(one + two);
    return true;
}

// Counts the fields of a group.
static inline void vel_csv_parser_count_fields(vel_csv_parser_skip *skip,
                                               const vel_csv_parser_group *group, gint64 ends)
{
    const bool is_short = skip->max_fields == 2 || skip->max_fields == 3;
    if (ends > VEL_CSV_PARSER_FEW_ENDS && is_short && skip->fields < skip->max_fields &&
        vel_csv_parser_count_short(skip, group))
        return;
    vel_csv_parser_count_each(skip, group);
}

// The byte behind the last end in a group that has any.
static inline const guint8 *vel_csv_parser_last_end(const guint8 *bytes,
                                                    const vel_csv_parser_group *group)
{
    gsize word = VEL_CSV_PARSER_GROUP_WORDS - 1;
    while (group->ends[word] == 0)
        word--;
    return bytes + 64 * word + 64 - static_cast<gsize>(__builtin_clzll(group->ends[word]));
}

// What a kernel has done with a group.
enum vel_csv_parser_step {
    VEL_CSV_PARSER_STEP_TAKEN,  // The next group follows.
    VEL_CSV_PARSER_STEP_ENOUGH, // No more records are wanted.
    VEL_CSV_PARSER_STEP_LEFT,   // Nothing: it is for the exact reader.
};

// Finds the separators and ends of a group. False when that is for the exact reader.
static inline __attribute__((always_inline)) bool
vel_csv_parser_classify(const guint8 *bytes, gsize start, guint8 separator,
                        vel_csv_parser_group *group, vel_csv_parser_carry *carry,
                        vel_csv_parser_mood *mood, bool only_records)
{
    // Nothing but the closing quote counts in a long field.
    if (mood->deep && !vel_simd_has_quote_or_return_or_zero(bytes)) {
        *group = {};
        carry->opens = carry->returned = 0;
        return true;
    }
    vel_simd_group_bits(bytes, start, '\n', group->ends);
    // In a text with line feeds alone one look for all that is rare is the quickest.
    const bool plain = !mood->busy && (carry->closed | carry->returned) == 0 &&
                       !vel_simd_has_quote_or_return_or_zero(bytes);
    if (plain) {
        const guint8 last = bytes[VEL_CSV_PARSER_GROUP - 1];
        carry->opens = last == separator || last == '\n' ? 1 : 0;
        if (only_records)
            return true;
    }
    vel_simd_group_bits(bytes, start, separator, group->separators);
    if (plain)
        return true;
    for (gsize word = 0; word < VEL_CSV_PARSER_GROUP_WORDS; word++)
        group->specials[word] = group->separators[word] | group->ends[word];
    if (vel_simd_has_zero(bytes))
        return false;
    guint64 bits[VEL_CSV_PARSER_GROUP_WORDS];
    if (mood->returns || carry->returned != 0 || vel_simd_has_return(bytes)) {
        vel_simd_group_bits(bytes, start, '\r', bits);
        vel_csv_parser_apply_returns(group, bits, start / 64, carry);
        mood->returns = (bits[0] | bits[1] | bits[2] | bits[3]) != 0;
    }
    vel_simd_group_bits(bytes, start, '"', bits);
    const bool quotes = (bits[0] | bits[1] | bits[2] | bits[3]) != 0;
    mood->deep = carry->inside != 0 && !quotes;
    mood->busy = mood->returns || mood->deep || quotes;
    return vel_csv_parser_apply_quotes(group, bits, start / 64, carry) == 0;
}

// Takes a group from a byte in it on.
static inline __attribute__((always_inline)) vel_csv_parser_step
vel_csv_parser_take_group(vel_csv_parser_skip *walk, vel_csv_parser_carry *carry,
                          vel_csv_parser_mood *mood, const guint8 *bytes, gsize start,
                          bool only_records)
{
    vel_csv_parser_group group = {};
    vel_csv_parser_carry after = *carry;
    if (!vel_csv_parser_classify(bytes, start, walk->separator, &group, &after, mood, only_records))
        return VEL_CSV_PARSER_STEP_LEFT;
    gint64 ends = 0;
    if ((group.ends[0] | group.ends[1] | group.ends[2] | group.ends[3]) != 0) {
        for (const guint64 word : group.ends)
            ends += vel_simd_popcount(word);
    }
    if (ends >= walk->wanted) {
        walk->pos = bytes + vel_csv_parser_cut_group(&group, walk->wanted);
        if (only_records)
            walk->record = walk->pos;
        else
            vel_csv_parser_count_fields(walk, &group, ends);
        walk->wanted = 0;
        walk->place =
            walk->pos[-1] == '\r' ? VEL_CSV_PARSER_PLACE_RETURN : VEL_CSV_PARSER_PLACE_START;
        return VEL_CSV_PARSER_STEP_ENOUGH;
    }
    if (!only_records)
        vel_csv_parser_count_fields(walk, &group, ends);
    else if (ends > 0)
        walk->record = vel_csv_parser_last_end(bytes, &group);
    walk->wanted -= ends;
    walk->pos = bytes + VEL_CSV_PARSER_GROUP;
    *carry = after;
    return VEL_CSV_PARSER_STEP_TAKEN;
}

static inline bool vel_csv_parser_has_group(const vel_csv_parser_skip *walk, const guint8 *bytes)
{
    // Whether a line feed follows a return at the end of the block only the next block tells.
    const gint64 left = walk->end - bytes - (walk->end[-1] == '\r' ? 1 : 0);
    return left >= static_cast<gint64>(VEL_CSV_PARSER_GROUP) && walk->fields < walk->fields_limit;
}

static inline __attribute__((always_inline)) void
vel_csv_parser_walk_groups(vel_csv_parser_skip *skip, bool only_records)
{
    vel_csv_parser_skip walk = *skip;
    const gsize start = static_cast<gsize>(walk.pos - walk.block) % VEL_CSV_PARSER_GROUP;
    const guint8 *bytes = walk.pos - start;
    vel_csv_parser_carry carry = vel_csv_parser_carry_of(walk.place, start % 64);
    vel_csv_parser_mood mood = {carry.inside != 0, false, false};
    vel_csv_parser_step step = VEL_CSV_PARSER_STEP_TAKEN;
    if (start > 0 && vel_csv_parser_has_group(&walk, bytes)) {
        step = vel_csv_parser_take_group(&walk, &carry, &mood, bytes, start, only_records);
        bytes += VEL_CSV_PARSER_GROUP;
    }
    while (step == VEL_CSV_PARSER_STEP_TAKEN && vel_csv_parser_has_group(&walk, bytes)) {
        step = vel_csv_parser_take_group(&walk, &carry, &mood, bytes, 0, only_records);
        bytes += VEL_CSV_PARSER_GROUP;
    }
    if (step != VEL_CSV_PARSER_STEP_ENOUGH)
        walk.place = vel_csv_parser_carry_place(carry);
    *skip = walk;
}

void VEL_CSV_PARSER_SKIP_KERNEL(vel_csv_parser_skip *skip)
{
    if (skip->only_records)
        vel_csv_parser_walk_groups(skip, true);
    else
        vel_csv_parser_walk_groups(skip, false);
}
