import java.io.ByteArrayOutputStream;
import java.io.DataOutputStream;
import java.io.File;
import java.io.IOException;

/** Defines and prepares as many classes as its argument tells, and then one every millisecond until there is a file "done". */
class Classes {
    static class Loader extends ClassLoader {
        Class<?> define(int number) throws IOException {
            byte[] code = classFile("made/Class" + number);
            Class<?> made = defineClass(null, code, 0, code.length);
            made.getDeclaredMethods(); /* links it, which prepares it */
            return made;
        }
    }

    /** An empty class, of a format that needs no frames. */
    static byte[] classFile(String name) throws IOException {
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        try (DataOutputStream out = new DataOutputStream(bytes)) {
            out.writeInt(0xCAFEBABE);
            out.writeInt(50);
            out.writeShort(5); // constants, and one
            writeClassConstant(out, 2, name);
            writeClassConstant(out, 4, "java/lang/Object");
            for (int word : new int[] {0x21, 1, 3, 0, 0, 0, 0}) out.writeShort(word); // modifiers, this, super; no members
        }
        return bytes.toByteArray();
    }

    static void writeClassConstant(DataOutputStream out, int index, String name) throws IOException {
        out.writeByte(7);
        out.writeShort(index);
        out.writeByte(1);
        out.writeUTF(name);
    }

    public static void main(String[] arguments) throws Exception {
        int count = Integer.parseInt(arguments[0]);
        Loader loader = new Loader();
        for (int i = 0; i < count; i++) loader.define(i);
        System.out.println("ready");
        long end = System.nanoTime() + 60_000_000_000L;
        File done = new File("done");
        for (int i = count; !done.exists() && System.nanoTime() < end; i++) {
            loader.define(i);
            Thread.sleep(1);
        }
        System.exit(9);
    }
}
