package zolt.test.acl;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.io.IOException;
import java.util.LinkedHashMap;
import java.util.Map;
import org.apache.hadoop.hdfs.server.namenode.ZOLTNative;
import org.junit.jupiter.api.Test;
import zolt.test.Body;
import zolt.test.Failing;
import zolt.test.Faults;

/** The lists where the virtual machine is short of memory, and what the natives hold of it. */
class AclMemoryTest extends AclFixture {
    private static final String ACL = "u::rwx,u:7:r,g::rx,m::rx,o::-";
    private static final byte[] SPEC = ints(1, ACCESS, 2, 7, 6);

    private static Map<String, Body> changes(String path) {
        Map<String, Body> calls = new LinkedHashMap<>();
        calls.put("setAcl", () -> ZOLTNative.setAcl(path, SPEC));
        calls.put("modifyAclEntries", () -> ZOLTNative.modifyAclEntries(path, SPEC));
        calls.put("removeAclEntries", () -> ZOLTNative.removeAclEntries(path, SPEC));
        return calls;
    }

    @Test
    void specificationsForWhichThereIsNoMemoryStoreNothing() throws Exception {
        String path = directory(ACL, ACL);
        String before = getfacl(path);
        changes(path).forEach((name, call) -> {
            for (String function : new String[] {"GetStringUTFChars", "GetByteArrayElements"}) {
                Faults.clear();
                expect(RuntimeException.class, "Cannot allocate memory: ",
                        () -> Failing.run(function, 1, call));
                assertEquals(0, Faults.calls("acl_init"), name);
                assertEquals(0, Failing.heldReferences(), name);
            }
        });
        assertEquals(before, getfacl(path));
    }

    @Test
    void pathsForWhichThereIsNoMemoryCannotBeHad() throws Exception {
        String path = directory(ACL, ACL);
        String before = getfacl(path);
        Body[] calls = {() -> ZOLTNative.getAclStatus(path, true),
            () -> ZOLTNative.removeDefaultAcl(path, true), () -> ZOLTNative.removeAcl(path, true)};
        for (Body call : calls) {
            expect(IOException.class, "Invalid argument: failed to get path",
                    () -> Failing.run("GetStringUTFChars", 1, call));
            assertEquals(0, Failing.heldReferences());
        }
        assertEquals(before, getfacl(path));
    }

    @Test
    void aStatusForWhichThereIsNoMemoryIsTheErrorOfTheVirtualMachine() throws Exception {
        String path = directory(ACL, ACL);
        expect(OutOfMemoryError.class, "injected",
                () -> Failing.run("NewByteArray", 1, () -> ZOLTNative.getAclStatus(path, true)));
        assertEquals(0, Failing.heldReferences());
    }

    @Test
    void whatIsLentIsGivenBackUnchanged() throws Exception {
        String path = directory(ACL, ACL);
        Map<String, Body> calls = changes(path);
        calls.put("status", () -> ZOLTNative.getAclStatus(path, true));
        calls.put("removeDefaultAcl", () -> ZOLTNative.removeDefaultAcl(path, true));
        calls.forEach((name, call) -> {
            Failing.Taken taken = Failing.takenBy(call);
            assertEquals(1, taken.strings(), name);
            assertEquals(0, taken.stringsLeft(), name);
            assertEquals(name.startsWith("status") || name.equals("removeDefaultAcl") ? 0 : 1,
                    taken.arrays(), name);
            assertEquals(0, taken.arraysLeft(), name);
            assertEquals(0, taken.arraysWrittenBack(), name);
            assertEquals(name.equals("status") ? 1 : 0, taken.referencesLeft(), name);
        });
    }
}
