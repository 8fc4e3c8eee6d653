package zolt.soak;

/** One call, or a few that belong together, with arguments by chance, and what may come of it. */
interface Call {
    void make(Scene scene) throws Exception;
}
