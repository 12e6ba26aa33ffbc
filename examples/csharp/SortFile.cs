// Sorts a file into another file, from C#.
//
// The lines are "name;number", and the number is the key: field 1 (they count from 0) between semicolons.
using System;
using System.IO;
using System.Runtime.InteropServices;

namespace FsortExample
{
    internal static class SortFile
    {
        private static void Show(IntPtr text)
        {
            Console.Error.Write(Marshal.PtrToStringAnsi(text));
        }

        private static int Main()
        {
            File.WriteAllText("csharp_stock.txt", "pear;12\napple;7\nquince;100\nplum;-3\n");

            DisplayFunction show = Show;
            IntPtr handle = Fsort.FsortCreate(show, null);
            if (handle == IntPtr.Zero) return 1;
            int status = Fsort.FsortStart(handle, null, null,
                                          "<csharp_stock.txt >csharp_sorted.txt -q -t ';' -n -f 1");
            Fsort.FsortDestroy(handle);
            GC.KeepAlive(show);
            if (status != 0) return 1;

            string sorted = File.ReadAllText("csharp_sorted.txt");
            Console.Write(sorted);
            File.Delete("csharp_stock.txt");
            File.Delete("csharp_sorted.txt");
            return sorted == "plum;-3\napple;7\npear;12\nquince;100\n" ? 0 : 1;
        }
    }
}
