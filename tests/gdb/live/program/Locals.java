/** Locals and arguments of every type, in methods that wait. */
class Locals {
    final int number = 7;
    static Object kept;

    static void start() {
        new Locals().look(-5, 1L << 40, 2.5, 1.5f, 'x', true, (byte) -3, (short) 300, "text é", new int[] {1, 2, 3}, null);
    }

    void look(int whole, long large, double real, float single, char letter, boolean truth, byte little, short small,
        String text, int[] array, Object nothing) {
        int later = whole + 100;
        Object[] objects = {text, this};
        Descent.bottom(3);
        Mix.sink += later;
        kept = objects;
    }
}
