{
{"table",2,0123abcd-0000-4000-8000-00000000ffff,
{
{"id","N"},
{"amount","N"},
{"note","S"}
},AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4v
,2
},
{1,
{"N",12345.67},
{"S","text with a ""quote"" and cyrillic Привет"}
},
{2,
{"N",-0.5},
{"S",""\d83d"\de00"}
}
}
