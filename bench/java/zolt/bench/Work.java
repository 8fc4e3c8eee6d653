package zolt.bench;

/** One call of one way of doing something; what it answers is compared with the other ways'. */
@FunctionalInterface
interface Work {
    long run() throws Exception;
}
