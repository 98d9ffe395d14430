#include "logs/asciibreaks.h"

#include <array>

namespace {

// The classes of the Unicode line breaking algorithm (UAX 14) that ASCII has, by its names.
enum Class : uchar { OP, CL, CP, QU, EX, SY, IS, PR, PO, NU, AL, HY, BA, CM, SP, XX };
constexpr int pairedClasses = CM; // those before it are looked up in pairs

// clang-format off
constexpr std::array<Class, 128> classes = {{
//  0   1   2   3   4   5   6   7   8   9   A   B   C   D   E   F
    CM, CM, CM, CM, CM, CM, CM, CM, CM, XX, XX, XX, XX, XX, CM, CM,
    CM, CM, CM, CM, CM, CM, CM, CM, CM, CM, CM, CM, CM, CM, CM, CM,
//      !   "   #   $   %   &   '   (   )   *   +   ,   -   .   /
    SP, EX, QU, AL, PR, PO, AL, QU, OP, CP, AL, PR, IS, HY, IS, SY,
    NU, NU, NU, NU, NU, NU, NU, NU, NU, NU, IS, IS, AL, AL, AL, EX,
    AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL,
    AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, OP, PR, CP, AL, AL,
    AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL,
    AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, AL, OP, BA, CL, AL, CM,
}};

// Whether a line may end between two classes: never, always, or only if blanks are between them.
enum Pair : uchar { no, yes, sp };
constexpr Pair pairs[pairedClasses][pairedClasses] = {
//         OP   CL   CP   QU   EX   SY   IS   PR   PO   NU   AL   HY   BA
/* OP */ { no,  no,  no,  no,  no,  no,  no,  no,  no,  no,  no,  no,  no  },
/* CL */ { yes, no,  no,  sp,  no,  no,  no,  yes, yes, yes, yes, sp,  sp  },
/* CP */ { yes, no,  no,  sp,  no,  no,  no,  yes, yes, sp,  sp,  sp,  sp  },
/* QU */ { no,  no,  no,  sp,  no,  no,  no,  sp,  sp,  sp,  sp,  sp,  sp  },
/* EX */ { yes, no,  no,  sp,  no,  no,  no,  yes, yes, yes, yes, sp,  sp  },
/* SY */ { yes, no,  no,  sp,  no,  no,  no,  yes, yes, yes, yes, sp,  sp  },
/* IS */ { yes, no,  no,  sp,  no,  no,  no,  yes, yes, yes, sp,  sp,  sp  },
/* PR */ { yes, no,  no,  sp,  no,  no,  no,  yes, yes, sp,  sp,  sp,  sp  },
/* PO */ { yes, no,  no,  sp,  no,  no,  no,  yes, yes, sp,  sp,  sp,  sp  },
/* NU */ { sp,  no,  no,  sp,  no,  no,  no,  sp,  sp,  sp,  sp,  sp,  sp  },
/* AL */ { sp,  no,  no,  sp,  no,  no,  no,  sp,  sp,  sp,  sp,  sp,  sp  },
/* HY */ { yes, no,  no,  sp,  no,  no,  no,  yes, yes, sp,  yes, sp,  sp  },
/* BA */ { yes, no,  no,  sp,  no,  no,  no,  yes, yes, yes, yes, sp,  sp  },
};

// Within a number no line ends (its rule 25); blanks do not end a number for Qt.
enum Part : uchar { other, affix, opening, digit, infix, closing, parts };
enum Action : uchar { none, start, next, end };
constexpr Action actions[parts][parts] = {
//                other affix  opening digit infix closing
/* other */     { none, start, start,  start, none, none },
/* affix */     { none, start, next,   next,  none, none },
/* opening */   { none, start, start,  next,  none, none },
/* digit */     { end,  end,   end,    next,  next, next },
/* infix */     { end,  end,   end,    next,  next, next },
/* closing */   { end,  next,  end,    end,   end,  end  },
};
// clang-format on

Part partOf(ushort character, Class itsClass)
{
    switch (itsClass) {
    case PR:
    case PO:
        return affix;
    case OP:
    case HY:
        return opening;
    case NU:
        return digit;
    case SY:
    case IS:
        return infix;
    case CL:
    case CP:
        return closing;
    case AL: // mathematical symbols
        return (character >= '<' && character <= '>') || character == '~' ? infix : other;
    default:
        return other;
    }
}

/// The number that the text is in, whose parts must not be torn apart.
class Number
{
public:
    explicit Number(std::vector<bool> &textBreaks)
        : breaks(textBreaks)
    {
    }

    void read(int position, Part part)
    {
        const Action action = actions[last][part];
        if (action == start)
            beginning = position;
        if (action == end)
            close(position);
        last = action == start || action == next ? part : other;
    }

    void close(int position)
    {
        if (actions[last][other] != end)
            return;
        for (int inside = beginning + 1; inside < position; ++inside)
            breaks[static_cast<std::size_t>(inside)] = false;
    }

private:
    std::vector<bool> &breaks;
    Part last = other;
    int beginning = 0;
};

} // namespace

bool AsciiBreaks::isKnown(ushort character)
{
    return character < classes.size() && classes[character] != XX;
}

bool AsciiBreaks::isPossible(ushort before, ushort after)
{
    const Class first = classes[before];
    const Class second = classes[after];
    return first == CM || (second != CM && pairs[first][second] == yes);
}

void AsciiBreaks::find(const ushort *text, int length, std::vector<bool> &breaks)
{
    breaks.assign(static_cast<std::size_t>(length), false);
    Number number(breaks);
    Class before = AL; // of the last character that is neither a blank nor a control character
    bool afterBlank = false;
    for (int i = 0; i < length; ++i) {
        const Class current = classes[text[i]];
        if (current == SP || (current == CM && (!afterBlank || i == 0))) {
            afterBlank = current == SP;
            continue;
        }
        if (i > 0) {
            number.read(i, partOf(text[i], current));
            const Pair pair = current == CM ? (before == OP ? no : sp) : pairs[before][current];
            breaks[static_cast<std::size_t>(i)] = pair == yes || (pair == sp && afterBlank);
        }
        before = current == CM ? AL : current;
        afterBlank = false;
    }
    number.close(length);
}
