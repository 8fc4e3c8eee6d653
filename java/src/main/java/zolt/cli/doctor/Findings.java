package zolt.cli.doctor;

import zolt.cli.output.Json;
import zolt.cli.output.Session;
import zolt.cli.output.Shown;

/** What the doctor has found, told check by check. */
public final class Findings {
    private static final String GREEN = "32";
    private static final String YELLOW = "33";
    private static final String RED = "31";

    private final Session session;
    private final boolean json;
    private int failed;

    public Findings(Session session, boolean json) {
        this.session = session;
        this.json = json;
    }

    void ok(String check, String what) {
        tell("ok", GREEN, check, what, null);
    }

    void warn(String check, String what, String mend) {
        tell("warn", YELLOW, check, what, mend);
    }

    void fail(String check, String what, String mend) {
        failed++;
        tell("fail", RED, check, what, mend);
    }

    public int failed() {
        return failed;
    }

    private void tell(String verdict, String style, String check, String what, String mend) {
        if (json) {
            session.out.line(new Json().put("check", check).put("verdict", verdict).put("found", what)
                    .put("mend", mend).toString());
            return;
        }
        session.out.text(session.styled(style, verdict) + "    ".substring(verdict.length() - 1));
        session.out.line(String.format("%-16s %s", check, Shown.name(what)));
        if (mend != null) {
            session.out.line(String.format("%21s mend: %s", "", Shown.line(mend)));
        }
    }
}
