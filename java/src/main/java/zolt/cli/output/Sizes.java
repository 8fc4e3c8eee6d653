package zolt.cli.output;

/** Sizes as people read them: as ls -h and du -h write them, rounded up. */
public final class Sizes {
    private static final String UNITS = "KMGTPE";
    private static final int STEP = 1024;

    private Sizes() {}

    public static String human(long bytes) {
        if (bytes < STEP) {
            return Long.toString(bytes);
        }
        int power = (Long.SIZE - 1 - Long.numberOfLeadingZeros(bytes)) / 10;
        long unit = 1L << 10 * power;
        long whole = bytes / unit;
        long rest = bytes % unit;
        long tenths = whole * 10 + Long.divideUnsigned(rest * 10 + unit - 1, unit);
        if (tenths < 100) {
            return tenths / 10 + "." + tenths % 10 + UNITS.charAt(power - 1);
        }
        whole += rest > 0 ? 1 : 0;
        return whole < STEP ? "" + whole + UNITS.charAt(power - 1) : "1.0" + UNITS.charAt(power);
    }
}
