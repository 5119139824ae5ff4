import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;

/** Makes as many classes as are wanted, all alike but for their names, in one class loader. */
class Many extends ClassLoader {
    private static final String NAME = "Many$Template00000000";
    private static final int DIGITS = 8;

    /** What all of them look like. */
    static class Template00000000 {
        static int calls;
        int field;

        int method(int argument) {
            return field + argument + calls++;
        }
    }

    private final byte[] template = template();
    private final int[] places = places();
    private int made;

    private static byte[] template() {
        try (InputStream stream = Many.class.getResourceAsStream(NAME + ".class")) {
            return stream.readAllBytes();
        } catch (IOException e) {
            throw new IllegalStateException(e);
        }
    }

    /** Where the digits of the name stand. */
    private int[] places() {
        String text = new String(template, StandardCharsets.ISO_8859_1);
        return java.util.stream.IntStream.range(0, text.length()).filter(i -> text.startsWith("Template00000000", i))
            .map(i -> i + "Template".length()).toArray();
    }

    /** Defines, links and initialises the next one. */
    Class<?> make() throws ReflectiveOperationException {
        byte[] digits = String.format("%0" + DIGITS + "d", ++made).getBytes(StandardCharsets.ISO_8859_1);
        for (int place : places) System.arraycopy(digits, 0, template, place, DIGITS);
        String name = NAME.substring(0, NAME.length() - DIGITS) + new String(digits, StandardCharsets.ISO_8859_1);
        return Class.forName(defineClass(name, template, 0, template.length).getName(), true, this);
    }
}
