import java.util.ArrayList;
import java.util.List;

/** A program with a known state: fields of every type, arrays, generics, inner and anonymous classes, records, enums. */
public class Values {
    enum Colour { RED, GREEN }

    record Point(int x, int y) {
        int sum() {
            return x + y;
        }
    }

    interface Shape {
        int UNITS = 12;

        double area();
    }

    static class Base implements Shape {
        protected long id = 1L << 40;
        int shadowed = 1;

        @Override
        public double area() {
            return 2.5;
        }
    }

    static class Derived<T> extends Base {
        T content;
        int shadowed = 2;
        boolean yes = true;
        byte small = -128;
        char letter = 'ß';
        short middle = -32768;
        int usual = Integer.MIN_VALUE;
        float half = 0.1f;
        double whole = 1e100;
        int[] numbers = {1, 2, 3};
        String[][] words = {{"a", null}, {"ö"}};
        List<T> list = new ArrayList<>();
        Colour colour = Colour.GREEN;
        Point point = new Point(3, 4);
        Object nothing = null;
        Object self = this;

        class Inner {
            final int of = usual + 1;
        }

        Inner inner = new Inner();
        Shape nameless = new Shape() {
            final int secret = 42;

            @Override
            public double area() {
                return secret;
            }
        };

        int twice(int value) {
            return 2 * value;
        }

        String twice(String value) {
            return value + value;
        }

        int fail(String why) {
            throw new IllegalStateException(why);
        }

        void block() throws InterruptedException {
            while (true) Thread.sleep(1000);
        }

        int rest(int... all) {
            int sum = 0;
            for (int each : all) sum += each;
            return sum;
        }
    }

    static final String GREETING = "grüß \"dich\"\n";
    static long counter;

    static int many(int a0, long a1, int a2, double a3, int a4, int a5, int a6, int a7, int a8, int a9, int a10, int a11, int a12,
                    int a13, int a14, int a15, int a16, int a17, int a18, int a19, int a20, int a21, int a22, int a23, int a24,
                    int a25, int a26, int a27, int a28, int a29, int a30, int a31, int a32, int a33, int a34, int a35, int a36,
                    int a37, int a38, int a39, int a40, int a41, int a42, int a43, int a44, int a45, int a46, int a47, int a48,
                    int a49, int a50, int a51, int a52, int a53, int a54, int a55, int a56, int a57, int a58, float a59) {
        counter++;
        return here(new Derived<String>(), (byte) 7, 'x', a58);
    }

    static int here(Derived<String> derived, byte small, char letter, int last) {
        derived.content = "content";
        derived.list.add("first");
        long wide = Long.MAX_VALUE;
        double exact = 0.1;
        int[][] grid = {{1, 2}, {3, 4}};
        Runnable lambda = () -> System.out.println(last + small);
        System.out.println("READY");
        int result = pause(derived.usual);
        lambda.run();
        return result + (int) wide + grid.length + letter + (int) exact;
    }

    static int pause(int value) {
        long end = System.nanoTime() + 120_000_000_000L;
        while (System.nanoTime() < end) Thread.yield();
        return value;
    }

    public static void main(String[] arguments) {
        System.exit(many(0, 1L, 2, 3.0, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30,
                         31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56,
                         57, 58, 59f));
    }
}
