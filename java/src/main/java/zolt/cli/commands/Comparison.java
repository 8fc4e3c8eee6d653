package zolt.cli.commands;

import zolt.cli.output.Exit;
import zolt.cli.output.Failure;

/** A number that another is to be equal to, or with a sign before it more or less than, as in find(1). */
final class Comparison {
    private final char sign;
    private final long number;

    private Comparison(char sign, long number) {
        this.sign = sign;
        this.number = number;
    }

    /** @param whole what the user has written, for the message */
    static Comparison parse(String text, String whole) throws Failure {
        if (!text.matches("[-+]?[0-9]{1,18}")) {
            throw new Failure(Exit.USAGE, whole + " is no number: N, +N for more, or -N for less");
        }
        char sign = text.charAt(0);
        return new Comparison(sign, Long.parseLong(text.replaceFirst("^[-+]", "")));
    }

    boolean holds(long value) {
        return sign == '+' ? value > number : sign == '-' ? value < number : value == number;
    }

    /** Of parts of a unit, as they are rounded down and up: with a sign exactly, without one rounded up. */
    boolean holds(long down, long up) {
        return sign == '-' ? down < number : holds(up);
    }
}
