package zolt.test.walk;

import java.util.function.IntFunction;
import java.util.function.UnaryOperator;
import zolt.test.Failure;
import zolt.test.Faults;

/**
 * What becomes of a call in which one step goes wrong: {@code undisturbed} is how it ends otherwise,
 * {@code before} how things stood.
 */
@FunctionalInterface
public interface Rule {
    Ending ending(Fault fault, Ending undisturbed, Ending before);

    /** It makes no difference. */
    static Rule same() {
        return (fault, undisturbed, before) -> undisturbed;
    }

    /** Nothing is done but this thrown. */
    static Rule thrown(Class<?> type, String message) {
        return (fault, undisturbed, before) -> before.answering(Ending.thrown(type, message));
    }

    /** The exception for an errno. */
    static Rule error(int errno, String message) {
        return thrown(Failure.of(errno, message));
    }

    private static Rule thrown(Failure failure) {
        return thrown(failure.type(), failure.message());
    }

    /** The exception for the errno with which the step failed; EIO where it left none. */
    static Rule error(String message) {
        return failing(errno -> Failure.of(errno, message));
    }

    private static Rule failing(IntFunction<Failure> failure) {
        return (fault, undisturbed, before) -> {
            if (fault.isAltered()) {
                throw new AssertionError("nothing said of " + fault);
            }
            int errno = fault.equals(Fault.SILENT) ? Faults.EIO : fault.errno();
            return thrown(failure.apply(errno)).ending(fault, undisturbed, before);
        };
    }

    /** The same of an open, which is made again where a lease is to be broken first. */
    static Rule openError(String message) {
        return error(message).on(Fault.errno(Faults.EAGAIN), same());
    }

    /** The same of a request in whose reply there are no blocks to be altered. */
    static Rule requestError(String message) {
        return error(message).unaltered();
    }

    /** The same of a path's status: what is below no directory is not there. */
    static Rule statError(String message) {
        return error(message).on(Fault.errno(Faults.ENOTDIR), error(Faults.ENOENT, message));
    }

    /** The exception for a failure with an extended attribute. */
    static Rule xattrError(String operation, String name) {
        return failing(errno -> Failure.ofAttribute(errno, operation, name));
    }

    /** The virtual machine is short of memory and the library says so. */
    static Rule noMemory() {
        return error(Faults.ENOMEM, "");
    }

    /** The virtual machine is short of memory and says so itself. */
    static Rule vmError() {
        return thrown(OutOfMemoryError.class, "injected");
    }

    /** Everything is done, with another answer. */
    static Rule answer(Object other) {
        return same().andThen(ending -> ending.answering(Ending.text(other)));
    }

    /** Nothing is done, without a word. */
    static Rule neutral(Object answer) {
        return (fault, undisturbed, before) -> before.answering(Ending.text(answer));
    }

    default Rule on(Fault exception, Rule other) {
        return (fault, undisturbed, before) ->
                (fault.equals(exception) ? other : this).ending(fault, undisturbed, before);
    }

    /** An answer that is not the true one makes no difference. */
    default Rule unaltered() {
        return (fault, undisturbed, before) ->
                (fault.isAltered() ? same() : this).ending(fault, undisturbed, before);
    }

    default Rule andThen(UnaryOperator<Ending> change) {
        return (fault, undisturbed, before) -> change.apply(ending(fault, undisturbed, before));
    }

    default Rule leaving(String state) {
        return andThen(ending -> ending.leaving(state));
    }

    /** What is left is what the undisturbed call leaves. */
    default Rule done() {
        return (fault, undisturbed, before) -> ending(fault, undisturbed, before)
                .leaving(undisturbed.state());
    }

    /** What is left is what the undisturbed call leaves, with a difference. */
    default Rule done(UnaryOperator<String> difference) {
        return (fault, undisturbed, before) -> ending(fault, undisturbed, before)
                .leaving(difference.apply(undisturbed.state()));
    }

    default Rule as(String identity) {
        return andThen(ending -> ending.as(identity));
    }

    default Rule allocations(int allocations) {
        return andThen(ending -> ending.allocations(allocations));
    }

    default Rule streams(int streams) {
        return andThen(ending -> ending.streams(streams));
    }
}
