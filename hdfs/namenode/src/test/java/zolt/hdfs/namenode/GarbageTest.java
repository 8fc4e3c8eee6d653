package zolt.hdfs.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.lang.management.ManagementFactory;
import java.lang.reflect.Method;
import java.net.Socket;
import java.net.URI;
import java.util.Random;
import java.util.function.Consumer;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.ipc.RPC.RpcKind;
import org.apache.hadoop.ipc.RpcConstants;
import org.apache.hadoop.ipc.protobuf.IpcConnectionContextProtos.IpcConnectionContextProto;
import org.apache.hadoop.ipc.protobuf.IpcConnectionContextProtos.UserInformationProto;
import org.apache.hadoop.ipc.protobuf.ProtobufRpcEngine2Protos.RequestHeaderProto;
import org.apache.hadoop.ipc.protobuf.RpcHeaderProtos.RpcKindProto;
import org.apache.hadoop.ipc.protobuf.RpcHeaderProtos.RpcRequestHeaderProto;
import org.apache.hadoop.ipc.protobuf.RpcHeaderProtos.RpcRequestHeaderProto.OperationProto;
import org.apache.hadoop.thirdparty.protobuf.ByteString;
import org.apache.hadoop.thirdparty.protobuf.MessageLite;
import org.junit.jupiter.api.Test;

/** What is no request, at the port of a NameNode: it ends its connection at most. */
class GarbageTest {
    private static final int ROUNDS = 60;
    private static final int MOST_BYTES = 5000;
    private static final int WAIT_MILLIS = 10_000;
    /** Those that Hadoop's server begins for a call, and a client of the test. */
    private static final int FEW_THREADS = 20;

    private final Random random = new Random(17);

    private byte[] noise() {
        byte[] bytes = new byte[random.nextInt(MOST_BYTES)];
        random.nextBytes(bytes);
        return bytes;
    }

    /** Sends what one has to say, and hears the server out, which may hang up in the midst. */
    private static void say(URI server, Consumer<DataOutputStream> what) throws IOException {
        try (Socket socket = new Socket(server.getHost(), server.getPort())) {
            socket.setSoTimeout(WAIT_MILLIS);
            try {
                what.accept(new DataOutputStream(socket.getOutputStream()));
                socket.shutdownOutput();
                InputStream in = socket.getInputStream();
                in.transferTo(java.io.OutputStream.nullOutputStream());
            } catch (java.io.UncheckedIOException | java.net.SocketException e) {
                return;  // it hung up
            }
        }
    }

    private interface Said {
        void to(DataOutputStream out) throws IOException;
    }

    private static Consumer<DataOutputStream> said(Said said) {
        return out -> {
            try {
                said.to(out);
                out.flush();
            } catch (IOException e) {
                throw new java.io.UncheckedIOException(e);
            }
        };
    }

    private static void greet(DataOutputStream out) throws IOException {
        out.write(RpcConstants.HEADER.array());
        out.write(RpcConstants.CURRENT_VERSION);
        out.write(0);
        out.write(0);
    }

    /** A frame of messages, each with its length, and what comes behind. */
    private static byte[] frame(byte[] rest, MessageLite... messages) throws IOException {
        ByteArrayOutputStream body = new ByteArrayOutputStream();
        for (MessageLite message : messages) {
            message.writeDelimitedTo(body);
        }
        body.write(rest);
        return body.toByteArray();
    }

    private static void frame(DataOutputStream out, byte[] body) throws IOException {
        out.writeInt(body.length);
        out.write(body);
    }

    private static RpcRequestHeaderProto header(int call) {
        return RpcRequestHeaderProto.newBuilder().setRpcKind(RpcKindProto.valueOf(RpcKind.RPC_PROTOCOL_BUFFER.name()))
                .setRpcOp(OperationProto.RPC_FINAL_PACKET).setCallId(call).setRetryCount(0)
                .setClientId(ByteString.copyFrom(new byte[16])).build();
    }

    private static void connect(DataOutputStream out) throws IOException {
        greet(out);
        frame(out, frame(new byte[0], header(RpcConstants.INVALID_CALL_ID - 1), IpcConnectionContextProto.newBuilder()
                .setProtocol(ClientProtocol.class.getName())
                .setUserInfo(UserInformationProto.newBuilder().setEffectiveUser("nobody")).build()));
    }

    /** A call of a method that is there, with anything as its parameters. */
    private void call(DataOutputStream out, int call, String method) throws IOException {
        byte[] parameters = noise();
        ByteArrayOutputStream body = new ByteArrayOutputStream();
        body.write(frame(new byte[0], header(call), RequestHeaderProto.newBuilder().setMethodName(method)
                .setDeclaringClassProtocolName(ClientProtocol.class.getName()).setClientProtocolVersion(1).build()));
        if (random.nextBoolean()) {
            new DataOutputStream(body).write(parameters.length & 0x7f);
        }
        body.write(parameters);
        frame(out, body.toByteArray());
    }

    @Test
    void theServerGoesOn() throws Exception {
        Service service = Service.shared();
        URI server = service.uri();
        try (FileSystem client = service.client()) {
            client.mkdirs(new Path("/garbage"));
            int before = ManagementFactory.getThreadMXBean().getThreadCount();
            Method[] methods = ClientProtocol.class.getMethods();
            for (int round = 0; round < ROUNDS; round++) {
                say(server, said(out -> out.write(noise())));
                say(server, said(out -> {
                    greet(out);
                    out.write(noise());
                }));
                for (int length : new int[] {-1, 0, 1, Integer.MIN_VALUE, Integer.MAX_VALUE, 1 << 27}) {
                    say(server, said(out -> {
                        greet(out);
                        out.writeInt(length);
                        out.write(noise());
                    }));
                }
                say(server, said(out -> {
                    connect(out);
                    frame(out, noise());
                }));
                say(server, said(out -> {
                    connect(out);
                    for (int call = 0; call < 10; call++) {
                        call(out, call, methods[random.nextInt(methods.length)].getName());
                    }
                }));
                assertTrue(client.exists(new Path("/garbage")), "round " + round);
            }
            assertEquals(0, client.listStatus(new Path("/garbage")).length);
            int more = ManagementFactory.getThreadMXBean().getThreadCount() - before;
            assertTrue(more < FEW_THREADS, more + " more threads");
            client.delete(new Path("/garbage"), true);
        }
    }

    /** Connections that say nothing keep no others out. */
    @Test
    void theSilentKeepNobodyOut() throws Exception {
        Service service = Service.shared();
        java.util.List<Socket> silent = new java.util.ArrayList<>();
        try (FileSystem client = service.client()) {
            for (int i = 0; i < 300; i++) {
                Socket socket = new Socket(service.uri().getHost(), service.uri().getPort());
                silent.add(socket);
                if (i % 2 == 0) {
                    greet(new DataOutputStream(socket.getOutputStream()));
                }
            }
            assertTrue(client.exists(new Path("/")));
        } finally {
            for (Socket each : silent) {
                each.close();
            }
        }
    }
}
